// The results window's controls, tables and actions.
#include "ui/ViewControllerDuplicates.h"

#include <algorithm>
#include <cmath>

#include <QHeaderView>
#include <QKeyEvent>
#include <QScopedValueRollback>

#include "results/FileInfoTexts.h"
#include "ui/AppShell.h"
#include "ui/CleaningProgressDialog.h"
#include "ui/GroupsTableModel.h"
#include "ui/MembersTableModel.h"
#include "ui/RevealInFileManager.h"
#include "ui/ViewControllerCustomKeep.h"
#include "ui/ViewControllerInfo.h"
#include "ui_ViewControllerDuplicates.h"

namespace kelvora {

namespace {

// The segment titles, in the order of the keep options.
const QStringList kSegmentTitles = {
    QStringLiteral("&None"), QStringLiteral("&Oldest"),  QStringLiteral("Ne&west"),
    QStringLiteral("A&ll"),  QStringLiteral("C&ustom…"),
};

constexpr int kIconSide = 20;

int textWidth(const QWidget& widget, const char* sample) {
    return widget.fontMetrics().horizontalAdvance(QString::fromLatin1(sample));
}

}  // namespace

DuplicatesWindowServices desktopDuplicatesWindowServices(WindowServices window,
                                                         platform::UserDefaults& userDefaults) {
    return {std::move(window), userDefaults, revealInFileManager,
            [](const std::string& address) { OpenWebPage(QString::fromStdString(address)); }};
}

ViewControllerDuplicates::ViewControllerDuplicates(DuplicatesWindowServices services,
                                                   QWidget* parent)
    : QDialog(parent),
      ui(std::make_unique<Ui::ViewControllerDuplicates>()),
      services_(std::move(services)),
      settingsManager(services_.window.settingsManager),
      groups_(new GroupsTableModel(this)),
      members_(new MembersTableModel(this)),
      overview_(new QLabel(this)) {
    ui->setupUi(this);
    setWindowFlags(windowFlags() | Qt::WindowMinMaxButtonsHint);
    categoryChecks_ = {ui->checkPictures, ui->checkMusic,     ui->checkMovies,
                       ui->checkArchives, ui->checkDocuments, ui->checkOther};
    categoryBars_ = {ui->progressIndicatorPictures,  ui->progressIndicatorMusic,
                     ui->progressIndicatorMovies,    ui->progressIndicatorArchives,
                     ui->progressIndicatorDocuments, ui->progressIndicatorOther};
    categoryPercents_ = {ui->textFieldPicturesPercents,  ui->textFieldMusicPercents,
                         ui->textFieldMoviesPercents,    ui->textFieldArchivesPercents,
                         ui->textFieldDocumentsPercents, ui->textFieldOtherPercents};
    ui->segmentedControlKeep->setSegments(kSegmentTitles);
    ui->segmentedControlKeep->setTabOrderBetween(ui->checkOther, ui->checkApplyForAll);
    // Wide enough for "100%" and the largest size text, so nothing moves as they change.
    for (QLabel* percent : categoryPercents_) percent->setMinimumWidth(textWidth(*this, "100%"));
    ui->labelSpaceSaved->setMinimumWidth(textWidth(*this, "1023.9 MB"));
    // The groups are what the user works through; their copies need fewer rows.
    ui->splitterTables->setStretchFactor(0, 3);
    ui->splitterTables->setStretchFactor(1, 2);
    setUpTables();
    overview_->setObjectName(QStringLiteral("labelOverview"));
    overview_->setWordWrap(true);
    ui->layoutSide->insertWidget(2, overview_);
    showRemovalMode();
    connectActions();
    addWindowActions(*this);
    fitOnScreen(*this);
    // Keyboard work starts in the list of groups.
    ui->tableViewFiles->setFocus(Qt::OtherFocusReason);

    model_ = ResultsModel::create({settingsManager, services_.window.background,
                                   services_.window.main, *this, services_.window.alerts, *this,
                                   services_.userDefaults, services_.openStorePage});
    model_->viewDidLoad();
}

ViewControllerDuplicates::~ViewControllerDuplicates() = default;

void ViewControllerDuplicates::setUpTables() {
    const int rowHeight = std::max(fontMetrics().height() + 8, kIconSide + 6);
    for (QTableView* table : {ui->tableViewFiles, ui->tableViewDuplicates}) {
        // Uniform rows: the view then never measures rows, whatever their number.
        table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        table->verticalHeader()->setDefaultSectionSize(rowHeight);
        table->verticalHeader()->hide();
        table->setSelectionBehavior(QAbstractItemView::SelectRows);
        table->setSelectionMode(QAbstractItemView::SingleSelection);
        table->setWordWrap(false);
        table->setShowGrid(false);
        table->setAlternatingRowColors(true);
        table->horizontalHeader()->setHighlightSections(false);
    }

    QTableView* files = ui->tableViewFiles;
    files->setModel(groups_);
    files->setIconSize(QSize(kIconSide, kIconSide));
    // Fixed widths from the font: measuring content would touch every one of 100,000 rows.
    QHeaderView* header = files->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(GroupsTableModel::ColumnIcon, QHeaderView::Fixed);
    header->setSectionResizeMode(GroupsTableModel::ColumnName, QHeaderView::Stretch);
    header->resizeSection(GroupsTableModel::ColumnIcon, kIconSide + 12);
    header->resizeSection(GroupsTableModel::ColumnSize, textWidth(*this, "1023.9 MB") + 24);
    header->resizeSection(GroupsTableModel::ColumnCount, textWidth(*this, "Selected") + 24);

    QTableView* copies = ui->tableViewDuplicates;
    copies->setModel(members_);
    copies->setTextElideMode(Qt::ElideMiddle);
    header = copies->horizontalHeader();
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->setSectionResizeMode(MembersTableModel::ColumnCheck, QHeaderView::Fixed);
    header->setSectionResizeMode(MembersTableModel::ColumnPath, QHeaderView::Stretch);
    header->resizeSection(MembersTableModel::ColumnCheck, rowHeight + 4);
    header->resizeSection(MembersTableModel::ColumnDate,
                          textWidth(*this, "88-88-88 88:88:88") + 24);
    copies->installEventFilter(this);
}

void ViewControllerDuplicates::connectActions() {
    using Self = ViewControllerDuplicates;
    using Action = void (ResultsModel::*)();
    const std::array<Action, 6> categoryActions = {
        &ResultsModel::OnPictruesChecked,  &ResultsModel::OnMusicChecked,
        &ResultsModel::OnMoviesChecked,    &ResultsModel::OnArchivesChecked,
        &ResultsModel::OnDocumentsChecked, &ResultsModel::OnOtherChecked,
    };
    for (std::size_t i = 0; i < categoryChecks_.size(); ++i) {
        connect(categoryChecks_[i], &QCheckBox::clicked, this,
                [this, action = categoryActions[i]] { (model_.get()->*action)(); });
    }
    connect(ui->segmentedControlKeep, &SegmentedControl::segmentClicked, this,
            &Self::OnSegmentedControlKeepChanged);
    connect(ui->checkApplyForAll, &QCheckBox::clicked, this, &Self::OnApplyForAllChecked);
    connect(ui->buttonClean, &QPushButton::clicked, this, &Self::OnClean);
    connect(ui->buttonGoToSourceDirectory, &QPushButton::clicked, this,
            &Self::OnGoToSourceDirectoryButton);
    connect(ui->buttonShowInfo, &QPushButton::clicked, this, &Self::OnShowInfo);

    connect(ui->tableViewFiles->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &Self::OnGroupSelectionChanged);
    connect(ui->tableViewDuplicates->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &Self::updateMemberButtons);
    connect(ui->tableViewDuplicates, &QTableView::activated, this, &Self::OnShowInfo);
    connect(members_, &MembersTableModel::toggleRequested, this, &Self::OnMemberToggled);
    connect(members_, &QAbstractItemModel::modelReset, this, &Self::updateMemberButtons);
    updateMemberButtons();
}

// The check boxes, the apply-for-all box and the segments report only the user's clicks, so
// that what the model sets here is never taken for a choice.
bool ViewControllerDuplicates::categoryChecked(FileCategory category) const {
    return categoryChecks_[categoryIndex(category)]->isChecked();
}

void ViewControllerDuplicates::setCategoryChecked(FileCategory category, bool checked) {
    categoryChecks_[categoryIndex(category)]->setChecked(checked);
}

bool ViewControllerDuplicates::applyForAllChecked() const {
    return ui->checkApplyForAll->isChecked();
}

void ViewControllerDuplicates::setApplyForAllChecked(bool checked) {
    ui->checkApplyForAll->setChecked(checked);
}

std::int64_t ViewControllerDuplicates::selectedSegment() const {
    return ui->segmentedControlKeep->selectedSegment();
}

void ViewControllerDuplicates::setSelectedSegment(std::int64_t segment) {
    ui->segmentedControlKeep->setSelectedSegment(static_cast<int>(segment));
}

void ViewControllerDuplicates::setCategoryShare(FileCategory category, double barValue,
                                                const std::string& percentText) {
    const std::size_t i = categoryIndex(category);
    const double value = std::isfinite(barValue) ? std::clamp(barValue, 0.0, 100.0) : 0.0;
    categoryBars_[i]->setValue(static_cast<int>(std::lround(value)));
    categoryPercents_[i]->setText(QString::fromStdString(percentText));
}

void ViewControllerDuplicates::setSpaceSaved(const std::string& sizeText, TextColour colour) {
    QPalette palette = this->palette();
    if (const auto qt = qtColour(colour, palette)) palette.setColor(QPalette::WindowText, *qt);
    ui->labelSpaceSaved->setPalette(palette);
    ui->labelSpaceSaved->setText(QString::fromStdString(sizeText));
    spaceSavedText_ = QString::fromStdString(sizeText);
    showOverview();
}

// Counted here rather than by the model: the line follows every toggle, and the records the
// tables show are the ones to count.
void ViewControllerDuplicates::showOverview() {
    if (!model_) return;
    const FileList& shown = model_->fileList;
    std::size_t copies = 0;
    std::size_t selected = 0;
    for (const FilePtr& group : shown) {
        copies += group->duplicates.size();
        for (const DuplicateFile& copy : group->duplicates) selected += copy.checkState == 1;
    }
    const QString groups =
        shown.size() == 1 ? tr("1 group shown") : tr("%1 groups shown").arg(shown.size());
    // A size is not broken between its number and its unit where the line wraps.
    QString space = spaceSavedText_.isEmpty() ? QStringLiteral("0 B") : spaceSavedText_;
    space.replace(QLatin1Char(' '), QChar::Nbsp);
    overview_->setText(tr("%1; %2 of %3 copies selected, %4 in all.")
                           .arg(groups)
                           .arg(selected)
                           .arg(copies)
                           .arg(space));
}

void ViewControllerDuplicates::setBusy(bool busy) {
    ui->progressIndicator->setVisible(busy);
}

void ViewControllerDuplicates::reloadGroups() {
    const QScopedValueRollback guard(selectingByCode_, true);
    showOverview();
    if (!groups_->reload(model_->fileList)) return;
    // A new list drops the view's selection; the group the model has selected stays selected.
    const std::int64_t row = model_->selectedRow;
    if (row >= 0 && row < groups_->rowCount()) ui->tableViewFiles->selectRow(static_cast<int>(row));
}

void ViewControllerDuplicates::reloadMembers() {
    const std::size_t copies = model_->memberRowCount(selectedGroupTableRow());
    members_->reload(copies > 0 ? model_->fileList[static_cast<std::size_t>(model_->selectedRow)]
                                : nullptr);
}

void ViewControllerDuplicates::reloadGroupCount(std::int64_t row) {
    groups_->reloadCount(static_cast<int>(row));
}

void ViewControllerDuplicates::selectGroupRow(std::int64_t row) {
    const bool exists = row >= 0 && row < groups_->rowCount();
    {
        const QScopedValueRollback guard(selectingByCode_, true);
        if (exists) {
            ui->tableViewFiles->selectRow(static_cast<int>(row));
            ui->tableViewFiles->scrollTo(groups_->index(static_cast<int>(row), 0));
        } else {
            ui->tableViewFiles->clearSelection();
        }
    }
    model_->OnGroupSelectionChanged(exists ? row : -1);
}

// Below the space saved, what Clean will do with the checked copies, as the main window's
// setting says: no one should learn only from the question that removal is permanent.
void ViewControllerDuplicates::showRemovalMode() {
    auto* label = new QLabel(this);
    label->setObjectName(QStringLiteral("labelRemovalMode"));
    label->setWordWrap(true);
    label->setText(settingsManager.moveToTrash
                       ? tr("Clean moves the checked copies to the trash.")
                       : tr("Clean deletes the checked copies permanently."));
    if (!settingsManager.moveToTrash) {
        QFont font = label->font();
        font.setBold(true);
        label->setFont(font);
    }
    ui->layoutSide->insertWidget(2, label);
}

void ViewControllerDuplicates::closeWindow() {
    done(QDialog::Accepted);
}

void ViewControllerDuplicates::waitForCleaning(CleaningProgress& progress) {
    kelvora::waitForCleaning(this, progress);
}

void ViewControllerDuplicates::OnGroupSelectionChanged() {
    if (selectingByCode_) return;
    model_->OnGroupSelectionChanged(selectedGroupTableRow());
}

void ViewControllerDuplicates::OnSegmentedControlKeepChanged() {
    model_->OnSegmentedControlKeepChanged();
}

void ViewControllerDuplicates::OnApplyForAllChecked() {
    model_->OnApplyForAllChecked();
}

void ViewControllerDuplicates::OnClean() {
    model_->OnClean();
}

void ViewControllerDuplicates::OnMemberToggled(int row) {
    model_->OnMemberCheckToggled(row);
    members_->reloadRow(row);
}

void ViewControllerDuplicates::OnGoToSourceDirectoryButton() {
    const int row = selectedMemberRow();
    if (row < 0) return;
    services_.reveal(members_->group()->duplicates[static_cast<std::size_t>(row)].path);
}

void ViewControllerDuplicates::OnShowInfo() {
    const int row = selectedMemberRow();
    if (row < 0) return;
    const FilePtr group = members_->group();
    const std::string path = group->duplicates[static_cast<std::size_t>(row)].path;
    settingsManager.currentSelectedFilePath = path;
    ViewControllerInfo info(settingsManager, services_.window.background, services_.window.main,
                            this);
    info.showFileInfo(fileInfoTexts(path, group->size));
    info.exec();
}

void ViewControllerDuplicates::runModal(const FileList& shownGroups) {
    ViewControllerCustomKeep window(settingsManager, services_.window.alerts,
                                    services_.window.panels, shownGroups, this);
    window.exec();
}

void ViewControllerDuplicates::updateMemberButtons() {
    const bool member = selectedMemberRow() >= 0;
    ui->buttonGoToSourceDirectory->setEnabled(member);
    ui->buttonShowInfo->setEnabled(member);
}

int ViewControllerDuplicates::selectedGroupTableRow() const {
    const QModelIndexList rows = ui->tableViewFiles->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.front().row();
}

// The copy the member buttons act on: none without a selected row that still exists.
int ViewControllerDuplicates::selectedMemberRow() const {
    const QModelIndexList rows = ui->tableViewDuplicates->selectionModel()->selectedRows();
    const FilePtr& group = members_->group();
    if (rows.isEmpty() || !group) return -1;
    const int row = rows.front().row();
    return static_cast<std::size_t>(row) < group->duplicates.size() ? row : -1;
}

void ViewControllerDuplicates::done(int result) {
    QDialog::done(result);
    if (disappeared_) return;
    disappeared_ = true;
    model_->viewDidDisappear(false);
}

void ViewControllerDuplicates::keyPressEvent(QKeyEvent* event) {
    // Escape would end the window and drop every result with it; closing stays deliberate.
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

// Space toggles the current copy from any column, not only on the check box itself.
bool ViewControllerDuplicates::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui->tableViewDuplicates && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Space) {
        const QModelIndex current = ui->tableViewDuplicates->currentIndex();
        if (current.isValid()) OnMemberToggled(current.row());
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

}  // namespace kelvora
