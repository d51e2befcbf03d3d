// Folder rows and folder drops.
#include "ui/FolderListModel.h"

#include <algorithm>

#include <QFile>
#include <QFileIconProvider>
#include <QMimeData>
#include <QUrl>

#include "platform/FileSystem.h"
#include "ui/MembersTableModel.h"

namespace kelvora {

namespace {

// The local path of a dropped URL as the system reaches it, without a trailing separator, so
// that "/a/" and "/a" are one folder; empty for anything that is not a local file.
std::string droppedPath(const QUrl& url) {
    if (!url.isLocalFile()) return {};
    const std::string text = QFile::encodeName(url.toLocalFile()).toStdString();
    std::string path;
    return platform::absolutePath(text, path) == 0 ? path : text;
}

bool isFolder(const std::string& path) {
    const auto attributes = platform::followedAttributes(path);
    return attributes && attributes->isFolder;
}

}  // namespace

FolderListModel::FolderListModel(std::vector<std::string>& folders,
                                 std::vector<std::string>& references, QObject* parent)
    : StringListModel(folders, parent),
      references_(references),
      folderIcon_(QFileIconProvider().icon(QFileIconProvider::Folder)) {}

bool FolderListModel::isReference(int row) const {
    return std::find(references_.begin(), references_.end(),
                     rows_[static_cast<std::size_t>(row)]) != references_.end();
}

QVariant FolderListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
    const bool reference = isReference(index.row());
    if (role == Qt::DecorationRole) return reference ? referenceIcon() : folderIcon_;
    if (role == Qt::CheckStateRole) return reference ? Qt::Checked : Qt::Unchecked;
    if (role == Qt::ToolTipRole) {
        return tr("%1\nChecked: a reference folder. It is searched, but its files are never "
                  "selected or removed.")
            .arg(StringListModel::data(index, Qt::DisplayRole).toString());
    }
    return StringListModel::data(index, role);
}

Qt::ItemFlags FolderListModel::flags(const QModelIndex& index) const {
    // Rows take no drops, so the view offers the gap above or below a row instead.
    if (!index.isValid()) return Qt::ItemIsDropEnabled;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren |
           Qt::ItemIsUserCheckable;
}

bool FolderListModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return false;
    const std::string& folder = rows_[static_cast<std::size_t>(index.row())];
    std::erase(references_, folder);
    if (value.value<Qt::CheckState>() == Qt::Checked) references_.push_back(folder);
    Q_EMIT dataChanged(index, index, {Qt::CheckStateRole, Qt::DecorationRole});
    return true;
}

void FolderListModel::forgetUnlistedReferences() {
    std::erase_if(references_, [this](const std::string& folder) {
        return std::find(rows_.begin(), rows_.end(), folder) == rows_.end();
    });
}

QStringList FolderListModel::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

Qt::DropActions FolderListModel::supportedDropActions() const {
    // Whatever the file manager proposes; the view answers every drop as a copy.
    return Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
}

bool FolderListModel::canDropMimeData(const QMimeData* data, Qt::DropAction, int, int,
                                      const QModelIndex& parent) const {
    // Whatever the URLs name is looked at only on the drop, where what is not a folder can be
    // reported; a drag that is refused on the way says nothing.
    return data != nullptr && !parent.isValid() && data->hasUrls();
}

bool FolderListModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row,
                                   int column, const QModelIndex& parent) {
    if (!canDropMimeData(data, action, row, column, parent)) return false;
    int insertAt = row < 0 ? rowCount() : std::min(row, rowCount());
    bool notAdded = false;
    for (const QUrl& url : data->urls()) {
        const std::string path = droppedPath(url);
        if (path.empty() || !isFolder(path)) {
            notAdded = true;
            continue;
        }
        if (std::find(rows_.begin(), rows_.end(), path) != rows_.end()) continue;
        beginInsertRows({}, insertAt, insertAt);
        rows_.insert(rows_.begin() + insertAt, path);
        endInsertRows();
        ++insertAt;
    }
    if (notAdded) Q_EMIT someNotAdded();
    return true;
}

}  // namespace kelvora
