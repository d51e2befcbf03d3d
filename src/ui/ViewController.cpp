// The main window's controls: folders, sizes, file types, options and the start of a search.
#include "ui/ViewController.h"

#include <algorithm>
#include <array>
#include <cmath>

#include <QAction>
#include <QButtonGroup>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>

#include "core/File.h"
#include "core/Texts.h"
#include "ui/AppShell.h"
#include "ui/CleaningHistoryWindow.h"
#include "ui/FolderListModel.h"
#include "ui/ViewControllerProgress.h"
#include "ui_ViewController.h"

namespace kelvora {

namespace {

// Bytes for each slider position, 0 to 9.
constexpr std::array<std::uint64_t, 10> kMinimumSizes = {
    1, 51200, 204800, 512000, 1048576, 5242880, 10485760, 20971520, 52428800, 104857600,
};
constexpr std::array<std::uint64_t, 10> kMaximumSizes = {
    1048576,   5242880,    10485760,       52428800,        104857600,
    524288000, 1073741824, 10737418240ULL, 107374182400ULL, 1099511627776ULL,
};

constexpr const char* kFoldersNotAdded = "The selected folder(s) could not be added.";
constexpr const char* kRemoveAllFolders =
    "Are you sure you want to remove all folders from the list?";
constexpr const char* kBundlesNote =
    "By deactivating this option Kelvora will also attempt to find duplicate bundles and "
    "packages which may increase the search time.";
constexpr const char* kNoFolders =
    "There are no folders to scan. Please add at least one folder and try again.";

QString toText(const std::string& text) {
    return QString::fromStdString(text);
}

bool contains(const std::vector<std::string>& list, const std::string& item) {
    return std::find(list.begin(), list.end(), item) != list.end();
}

void selectRow(QTableView* table, int row) {
    const int count = table->model()->rowCount();
    if (count > 0) table->selectRow(std::min(row, count - 1));
}

}  // namespace

ViewController::ViewController(WindowServices services, QWidget* parent)
    : QMainWindow(parent),
      ui(std::make_unique<Ui::ViewController>()),
      services_(std::move(services)),
      settingsManager(services_.settingsManager) {
    ui->setupUi(this);
    fileTypesGroup_ = new QButtonGroup(this);
    fileTypesGroup_->addButton(ui->radioScanAllFileTypes);
    fileTypesGroup_->addButton(ui->radioCustomFileTypes);
    removalGroup_ = new QButtonGroup(this);
    removalGroup_->addButton(ui->radioMoveDuplicateFilesToTrash);
    removalGroup_->addButton(ui->radioRemoveDuplicateFilesPermanently);

    // Wide enough for the longest size text, so that the sliders do not move as it changes.
    const int sizeWidth = fontMetrics().horizontalAdvance(QStringLiteral("1024.0 MB")) + 4;
    ui->textFieldMinimumFileSize->setMinimumWidth(sizeWidth);
    ui->textFieldMaximumFileSize->setMinimumWidth(sizeWidth);

    setUpTables();
    connectActions();
    ResetSettings();
}

ViewController::~ViewController() = default;

void ViewController::setUpTables() {
    folders_ = new FolderListModel(settingsManager.listFolderPaths,
                                   settingsManager.referenceFolderPaths, this);
    ui->tableViewFolders->setModel(folders_);
    // Queued: the alert waits until the drop has ended, so the file manager that started the
    // drag is not held behind it.
    connect(
        folders_, &FolderListModel::someNotAdded, this,
        [this] { runAlert(kFoldersNotAdded, {"OK"}); }, Qt::QueuedConnection);
    extensions_ = new StringListModel(settingsManager.listFileExtensions, this);
    ui->tableViewFileTypes->setModel(extensions_);

    const int rowHeight = fontMetrics().height() + 8;
    const auto setUp = [this, rowHeight](QTableView* table, void (ViewController::*remove)()) {
        // Rows as tall as the text needs, not the style's roomy default.
        table->verticalHeader()->setDefaultSectionSize(rowHeight);
        table->verticalHeader()->setMinimumSectionSize(rowHeight);
        auto* removeKey = new QAction(table);
        removeKey->setShortcut(QKeySequence::Delete);
        removeKey->setShortcutContext(Qt::WidgetShortcut);
        table->addAction(removeKey);
        connect(removeKey, &QAction::triggered, this, remove);
    };
    setUp(ui->tableViewFolders, &ViewController::OnRemoveSelected);
    setUp(ui->tableViewFileTypes, &ViewController::OnCustomFileTypesRemoveSelected);
}

void ViewController::connectActions() {
    connect(ui->buttonAddFolder, &QPushButton::clicked, this, &ViewController::OnAddFolder);
    connect(ui->buttonRemoveSelected, &QPushButton::clicked, this,
            &ViewController::OnRemoveSelected);
    connect(ui->buttonRemoveAll, &QPushButton::clicked, this, &ViewController::OnRemoveAll);
    connect(ui->sliderMinimumFileSize, &QSlider::valueChanged, this,
            &ViewController::OnMinimumFileSizeChanged);
    connect(ui->sliderMaximumFileSize, &QSlider::valueChanged, this,
            &ViewController::OnMaximumFileSizeChanged);
    connect(ui->radioScanAllFileTypes, &QRadioButton::clicked, this,
            &ViewController::OnScanAllFileTypesSelected);
    connect(ui->radioCustomFileTypes, &QRadioButton::clicked, this,
            &ViewController::OnCustomFileTypesSelected);
    connect(ui->buttonCustomFileTypesAddFileExtension, &QPushButton::clicked, this,
            &ViewController::OncustomFileTypesAddFileExtension);
    connect(ui->textFieldCustomFileTypesExtension, &QLineEdit::returnPressed, this,
            &ViewController::OncustomFileTypesAddFileExtension);
    connect(ui->buttonCustomFileTypesRemoveSelected, &QPushButton::clicked, this,
            &ViewController::OnCustomFileTypesRemoveSelected);
    connect(ui->buttonCustomFileTypesRemoveAll, &QPushButton::clicked, this,
            &ViewController::OnCustomFileTypesRemoveAll);
    connect(ui->radioMoveDuplicateFilesToTrash, &QRadioButton::clicked, this,
            &ViewController::OnMoveDuplicateFilesToTrashSelected);
    connect(ui->radioRemoveDuplicateFilesPermanently, &QRadioButton::clicked, this,
            &ViewController::OnRemoveDuplicateFilesPermanentlySelected);
    connect(ui->checkIgnoreBundles, &QCheckBox::clicked, this,
            &ViewController::OnIgnoreBundlesChecked);
    connect(ui->buttonFindDuplicateFiles, &QPushButton::clicked, this,
            &ViewController::OnFindDuplicateFiles);

    connect(ui->actionNew, &QAction::triggered, this, &ViewController::OnFileNew);
    connect(ui->actionLoadProfile, &QAction::triggered, this, &ViewController::OnLoadProfile);
    connect(ui->actionSaveProfile, &QAction::triggered, this, &ViewController::OnSaveProfile);
    connect(ui->actionSaveProfileAs, &QAction::triggered, this, &ViewController::OnSaveProfileAs);
    connect(ui->actionQuit, &QAction::triggered, this, &ViewController::OnAppQuit);

    addCleaningMenu();
    const WindowActions shared = addWindowActions(*this);
    ui->menuWindow->addAction(shared.minimize);
    ui->menuHelp->addAction(shared.helpRemoveDuplicates);
    ui->menuHelp->addAction(shared.helpCustomSelect);
    fitOnScreen(*this);
    // Below the written items, which keep their places.
    ui->menuHelp->addSeparator();
    QAction* about = ui->menuHelp->addAction(tr("&About Kelvora"));
    about->setObjectName(QStringLiteral("actionAbout"));
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, [this] { showAboutBox(this); });
}

// Past cleanings have a menu of their own, between File and Window.
void ViewController::addCleaningMenu() {
    auto* menu = new QMenu(tr("&Edit"), this);
    menu->setObjectName(QStringLiteral("menuEdit"));
    ui->menuBar->insertMenu(ui->menuWindow->menuAction(), menu);
    QAction* undo = menu->addAction(tr("&Undo Last Cleaning"));
    undo->setObjectName(QStringLiteral("actionUndoLastCleaning"));
    connect(undo, &QAction::triggered, this,
            [this] { OnUndoLastCleaning(this, services_.alerts); });
    QAction* history = menu->addAction(tr("Cleaning &History…"));
    history->setObjectName(QStringLiteral("actionCleaningHistory"));
    connect(history, &QAction::triggered, this, [this] {
        CleaningHistoryWindow window(services_.alerts, this);
        window.exec();
    });
}

void ViewController::setDuplicatesWindowRunner(DuplicatesWindowRunner runner) {
    duplicatesWindowRunner_ = std::move(runner);
}

std::int64_t ViewController::runAlert(const std::string& informativeText,
                                      std::vector<std::string> buttons) {
    return services_.alerts.runModal(Alert{informativeText, std::move(buttons)});
}

int ViewController::selectedRow(const QTableView* table) {
    const QModelIndexList rows = table->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.front().row();
}

void ViewController::addStartupFolders(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        if (!path.empty() && !contains(settingsManager.listFolderPaths, path))
            settingsManager.listFolderPaths.push_back(path);
    }
    folders_->reload();
}

void ViewController::OnAddFolder() {
    const auto chosen = services_.panels.chooseFolders(this);
    if (!chosen) return;
    if (chosen->empty()) {
        runAlert(kFoldersNotAdded, {"OK"});
    } else {
        for (const std::string& path : *chosen) {
            if (path.empty() || contains(settingsManager.listFolderPaths, path)) continue;
            settingsManager.listFolderPaths.push_back(path);
        }
        folders_->reload();
    }
    MarkModified();
}

void ViewController::OnRemoveSelected() {
    auto& folders = settingsManager.listFolderPaths;
    if (folders.empty()) return;
    const int row = selectedRow(ui->tableViewFolders);
    if (row >= 0 && row < static_cast<int>(folders.size())) {
        folders.erase(folders.begin() + row);
        folders_->forgetUnlistedReferences();
        folders_->reload();
        // The next folder takes the removed one's place, so Remove can be pressed again.
        selectRow(ui->tableViewFolders, row);
    }
    MarkModified();
}

void ViewController::OnRemoveAll() {
    if (settingsManager.listFolderPaths.empty()) return;
    if (runAlert(kRemoveAllFolders, {"Yes", "No"}) != kFirstButton) return;
    settingsManager.listFolderPaths.clear();
    folders_->forgetUnlistedReferences();
    folders_->reload();
    MarkModified();
}

void ViewController::OnMinimumFileSizeChanged() {
    const int position = ui->sliderMinimumFileSize->value();
    sliderMinimumValue_ = static_cast<float>(position);
    if (position >= 0 && position < static_cast<int>(kMinimumSizes.size()))
        settingsManager.minimumFileSize = kMinimumSizes[static_cast<std::size_t>(position)];
    ui->textFieldMinimumFileSize->setText(toText(sizeText(settingsManager.minimumFileSize)));
    MarkModified();
}

void ViewController::OnMaximumFileSizeChanged() {
    const int position = ui->sliderMaximumFileSize->value();
    sliderMaximumValue_ = static_cast<float>(position);
    if (position >= 0 && position < static_cast<int>(kMaximumSizes.size()))
        settingsManager.maximumFileSize = kMaximumSizes[static_cast<std::size_t>(position)];
    ui->textFieldMaximumFileSize->setText(toText(sizeText(settingsManager.maximumFileSize)));
    MarkModified();
}

void ViewController::OnScanAllFileTypesSelected() {
    setRadioPair(ui->radioScanAllFileTypes, true, ui->radioCustomFileTypes, false);
    ApplySettings();
    MarkModified();
}

void ViewController::OnCustomFileTypesSelected() {
    setRadioPair(ui->radioScanAllFileTypes, false, ui->radioCustomFileTypes, true);
    ApplySettings();
    MarkModified();
}

void ViewController::OncustomFileTypesAddFileExtension() {
    const std::string typed = ui->textFieldCustomFileTypesExtension->text().toStdString();
    const std::string extension = lowerCased(typed);
    auto& extensions = settingsManager.listFileExtensions;
    if (!typed.empty() && !contains(extensions, extension)) extensions.push_back(extension);
    extensions_->reload();
    MarkModified();
}

void ViewController::OnCustomFileTypesRemoveSelected() {
    auto& extensions = settingsManager.listFileExtensions;
    const int row = selectedRow(ui->tableViewFileTypes);
    if (extensions.empty() || row < 0 || row >= static_cast<int>(extensions.size())) return;
    extensions.erase(extensions.begin() + row);
    extensions_->reload();
    selectRow(ui->tableViewFileTypes, row);
    MarkModified();
}

void ViewController::OnCustomFileTypesRemoveAll() {
    if (settingsManager.listFileExtensions.empty()) return;
    settingsManager.listFileExtensions.clear();
    extensions_->reload();
    MarkModified();
}

void ViewController::OnMoveDuplicateFilesToTrashSelected() {
    setRadioPair(ui->radioMoveDuplicateFilesToTrash, true, ui->radioRemoveDuplicateFilesPermanently,
                 false);
    ApplySettings();
    MarkModified();
}

void ViewController::OnRemoveDuplicateFilesPermanentlySelected() {
    setRadioPair(ui->radioMoveDuplicateFilesToTrash, false,
                 ui->radioRemoveDuplicateFilesPermanently, true);
    ApplySettings();
    MarkModified();
}

void ViewController::OnIgnoreBundlesChecked() {
    if (!ui->checkIgnoreBundles->isChecked()) runAlert(kBundlesNote, {"OK"});
    ApplySettings();
    MarkModified();
}

void ViewController::OnFindDuplicateFiles() {
    if (settingsManager.listFolderPaths.empty()) {
        runAlert(kNoFolders, {"OK"});
        return;
    }
    settingsManager.searchCanceledByUser = false;
    settingsManager.openDuplicatesWindow = false;
    {
        ViewControllerProgress progress(services_, this);
        progress.exec();
    }
    if (settingsManager.openDuplicatesWindow) ShowDuplicatesWindow();
}

void ViewController::ShowDuplicatesWindow() {
    if (duplicatesWindowRunner_) {
        duplicatesWindowRunner_(*this);
        return;
    }
    // The results window empties the lists when it closes; without one the groups of every
    // search would pile up in them.
    settingsManager.fileList.clear();
    settingsManager.duplicateFileList.clear();
}

void ViewController::ResetSettings() {
    setSliderPositions(2.0f, 8.0f);
    ui->textFieldMinimumFileSize->setText(QString::asprintf("%.1f", 200.0) + QStringLiteral(" KB"));
    ui->textFieldMaximumFileSize->setText(QString::asprintf("%.1f", 100.0) + QStringLiteral(" GB"));
    setRadioPair(ui->radioScanAllFileTypes, true, ui->radioCustomFileTypes, false);
    setCustomTypeControlsEnabled(false);
    ui->textFieldCustomFileTypesExtension->setText(QStringLiteral("jpg"));
    setRadioPair(ui->radioMoveDuplicateFilesToTrash, true, ui->radioRemoveDuplicateFilesPermanently,
                 false);
    ui->checkIgnoreBundles->setChecked(true);
    settingsManager.listFolderPaths.clear();
    settingsManager.listFileExtensions.clear();
    folders_->forgetUnlistedReferences();
    folders_->reload();
    extensions_->reload();
}

void ViewController::ApplySettings() {
    const bool allTypes = ui->radioScanAllFileTypes->isChecked();
    setCustomTypeControlsEnabled(!allTypes);
    settingsManager.customFileTypes = !allTypes;
    settingsManager.moveToTrash = ui->radioMoveDuplicateFilesToTrash->isChecked();
    settingsManager.ignorePackages = ui->checkIgnoreBundles->isChecked();
    ui->textFieldMinimumFileSize->setText(toText(sizeText(settingsManager.minimumFileSize)));
    ui->textFieldMaximumFileSize->setText(toText(sizeText(settingsManager.maximumFileSize)));
}

void ViewController::setCustomTypeControlsEnabled(bool enabled) {
    ui->tableViewFileTypes->setEnabled(enabled);
    ui->textFieldCustomFileTypesExtension->setEnabled(enabled);
    ui->buttonCustomFileTypesAddFileExtension->setEnabled(enabled);
    ui->buttonCustomFileTypesRemoveSelected->setEnabled(enabled);
    ui->buttonCustomFileTypesRemoveAll->setEnabled(enabled);
}

void ViewController::setRadioPair(QAbstractButton* first, bool firstOn, QAbstractButton* second,
                                  bool secondOn) {
    QButtonGroup* group = first->group();
    if (group != nullptr) group->setExclusive(false);
    first->setChecked(firstOn);
    second->setChecked(secondOn);
    if (group != nullptr) group->setExclusive(true);
}

namespace {

int sliderPosition(float value) {
    if (!std::isfinite(value)) return 0;
    return static_cast<int>(std::lround(std::clamp(value, 0.0f, 9.0f)));
}

}  // namespace

void ViewController::setSliderPositions(float minimum, float maximum) {
    // Placing the sliders is not a choice of the user: the sizes stay as they are.
    const QSignalBlocker blockMinimum(ui->sliderMinimumFileSize);
    const QSignalBlocker blockMaximum(ui->sliderMaximumFileSize);
    ui->sliderMinimumFileSize->setValue(sliderPosition(minimum));
    ui->sliderMaximumFileSize->setValue(sliderPosition(maximum));
    sliderMinimumValue_ = minimum;
    sliderMaximumValue_ = maximum;
}

}  // namespace kelvora
