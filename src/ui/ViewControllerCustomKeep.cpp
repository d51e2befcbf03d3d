// The custom keep window's controls, its size fields, its extension list and its buttons.
#include "ui/ViewControllerCustomKeep.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>
#include <string_view>

#include <QAction>
#include <QDateTime>
#include <QFile>
#include <QKeyEvent>

#include "core/File.h"
#include "platform/FileSystem.h"
#include "results/CustomSettingsText.h"
#include "ui/AppShell.h"
#include "ui/StringListModel.h"
#include "ui_ViewControllerCustomKeep.h"

namespace kelvora {

namespace {

constexpr const char* kInvalidPath =
    "The custom file path you entered is not valid. Please enter a valid path.";
constexpr double kLargestSize = 100000;

// The number at the start of text in the C locale, and how many characters it took; Qt has
// set the process's locale from the desktop, so strtod could want a decimal comma.
std::optional<double> leadingNumber(std::string_view text, std::size_t* used = nullptr) {
    std::size_t sign = 0;
    if (text.starts_with('+') && !text.substr(1).starts_with('-')) sign = 1;
    double value = 0;
    const char* begin = text.data() + sign;
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    if (error != std::errc() || std::isnan(value)) return std::nullopt;
    if (used != nullptr) *used = static_cast<std::size_t>(end - text.data());
    return value;
}

// The whole text as one number: no blanks around it, nothing after it.
std::optional<double> wholeNumber(const QString& text) {
    const std::string bytes = text.toStdString();
    std::size_t used = 0;
    const auto value = leadingNumber(bytes, &used);
    if (!value || used != bytes.size()) return std::nullopt;
    return value;
}

// The field's value as a number field reads it: its leading number, else 0.
double numericValue(const QString& text) {
    const std::string bytes = text.trimmed().toStdString();
    return leadingNumber(bytes).value_or(0);
}

std::int64_t wholeSize(const QString& text) {
    const double value = std::trunc(numericValue(text));
    return static_cast<std::int64_t>(std::clamp(value, 0.0, kLargestSize));
}

QDateTime toDateTime(Date date) {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(date.time_since_epoch());
    return QDateTime::fromMSecsSinceEpoch(ms.count());
}

Date toDate(const QDateTime& dateTime) {
    return Date(std::chrono::milliseconds(dateTime.toMSecsSinceEpoch()));
}

QString toText(const std::string& path) {
    return QFile::decodeName(path.c_str());
}
std::string toPath(const QString& text) {
    return QFile::encodeName(text).toStdString();
}

bool sameExtension(const std::string& a, const std::string& b) {
    if (a == b) return true;
    // Typed text comes precomposed; a list loaded from a group's rules may not.
    return QString::fromStdString(a).normalized(QString::NormalizationForm_D) ==
           QString::fromStdString(b).normalized(QString::NormalizationForm_D);
}

}  // namespace

ViewControllerCustomKeep::ViewControllerCustomKeep(SettingsManager& settingsManager, Alerts& alerts,
                                                   FilePanels& panels, const FileList& shownGroups,
                                                   QWidget* parent)
    : QDialog(parent),
      settingsManager(settingsManager),
      ui(std::make_unique<Ui::ViewControllerCustomKeep>()),
      alerts_(alerts),
      panels_(panels),
      shownGroups_(shownGroups),
      extensionsModel_(new StringListModel(extensionsList, this)) {
    ui->setupUi(this);
    setWindowFlag(Qt::WindowMinimizeButtonHint);
    ui->tableViewCustomFileTypes->setModel(extensionsModel_);
    addWindowActions(*this);
    fitOnScreen(*this);
    connectActions();
    fillMenus();
    // Closing the window any other way than with OK is a cancel.
    settingsManager.customSettingsOption = "Cancel";
    LoadControls();
}

ViewControllerCustomKeep::~ViewControllerCustomKeep() = default;

void ViewControllerCustomKeep::fillMenus() {
    const auto fill = [](QComboBox* menu, const QStringList& items) {
        menu->clear();
        menu->addItems(items);
    };
    const QStringList dateTypes = {QStringLiteral("Creation Date"),
                                   QStringLiteral("Modification Date")};
    const QStringList dateTerms = {QStringLiteral("Earlier"), QStringLiteral("Later")};
    const QStringList sizeTerms = {QStringLiteral("Larger"), QStringLiteral("Smaller")};
    const QStringList units = {QStringLiteral("B"), QStringLiteral("KB"), QStringLiteral("MB"),
                               QStringLiteral("GB")};
    fill(ui->comboFirstDateType, dateTypes);
    fill(ui->comboSecondDateType, dateTypes);
    fill(ui->comboFirstDateTermOfComparison, dateTerms);
    fill(ui->comboSecondDateTermOFComparison, dateTerms);
    fill(ui->comboFirstFileSizeTermOfComparison, sizeTerms);
    fill(ui->comboSecondFileSizeTermOfComparison, sizeTerms);
    fill(ui->comboFirstFileSizeUnit, units);
    fill(ui->comboSecondFileSizeUnit, units);
    fill(ui->comboMatch, {QStringLiteral("Match"), QStringLiteral("Don't match")});
}

void ViewControllerCustomKeep::connectActions() {
    using Self = ViewControllerCustomKeep;
    connect(ui->textFieldFirstFileSize, &QLineEdit::editingFinished, this,
            &Self::OnFirstFileSizeChanged);
    connect(ui->textFieldSecondFileSize, &QLineEdit::editingFinished, this,
            &Self::OnSecondFileSizeChanged);
    connect(ui->stepperFirstFileSize, &Stepper::stepped, this,
            &Self::OnStepperFirstFilesizeChanged);
    connect(ui->stepperSecondFileSize, &Stepper::stepped, this,
            &Self::OnStepperSecondFileSizeChanged);
    connect(ui->buttonAddFileExtension, &QPushButton::clicked, this,
            &Self::OncustomFileTypesAddFileExtension);
    connect(ui->buttonRemoveSelected, &QPushButton::clicked, this,
            &Self::OnCustomFileTypesRemoveSelected);
    connect(ui->buttonRemoveAll, &QPushButton::clicked, this, &Self::OnCustomFileTypesRemoveAll);
    connect(ui->buttonBrowse, &QPushButton::clicked, this, &Self::OnBrowse);
    connect(ui->buttonOk, &QPushButton::clicked, this, &Self::OnOk);
    connect(ui->buttonCancel, &QPushButton::clicked, this, &Self::OnCancel);
    connect(ui->buttonReset, &QPushButton::clicked, this, &Self::OnReset);

    addStepKeys(ui->textFieldFirstFileSize, ui->stepperFirstFileSize);
    addStepKeys(ui->textFieldSecondFileSize, ui->stepperSecondFileSize);
    // Return in the entry field adds the extension rather than pressing OK.
    ui->textFieldExtension->installEventFilter(this);
    auto* remove = new QAction(ui->tableViewCustomFileTypes);
    remove->setShortcuts({QKeySequence::Delete, QKeySequence(Qt::Key_Backspace)});
    remove->setShortcutContext(Qt::WidgetShortcut);
    ui->tableViewCustomFileTypes->addAction(remove);
    connect(remove, &QAction::triggered, this, &Self::OnCustomFileTypesRemoveSelected);
}

// The arrow keys in a size field work the stepper beside it.
void ViewControllerCustomKeep::addStepKeys(QLineEdit* field, Stepper* stepper) {
    for (const auto& [key, steps] : {std::pair{Qt::Key_Up, 1}, std::pair{Qt::Key_Down, -1}}) {
        auto* action = new QAction(field);
        action->setShortcut(QKeySequence(key));
        action->setShortcutContext(Qt::WidgetShortcut);
        field->addAction(action);
        connect(action, &QAction::triggered, stepper,
                [stepper, steps = steps] { stepper->stepBy(steps); });
    }
}

bool ViewControllerCustomKeep::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui->textFieldExtension && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            OncustomFileTypesAddFileExtension();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

std::string ViewControllerCustomKeep::defaultFolder() const {
    const std::int64_t row = settingsManager.selectedFile;
    if (row < 0 || static_cast<std::size_t>(row) >= shownGroups_.size()) return {};
    return platform::deletingLastPathComponent(shownGroups_[static_cast<std::size_t>(row)]->path);
}

void ViewControllerCustomKeep::LoadControls() {
    SettingsManager& s = settingsManager;
    ui->checkFirstDate->setChecked(s.firstDateState == 1);
    ui->comboFirstDateType->setCurrentIndex(static_cast<int>(s.firstDateSelectedItem));
    ui->comboFirstDateTermOfComparison->setCurrentIndex(
        static_cast<int>(s.firstDateComparisonItem));
    ui->dataPickerFirstDate->setDateTime(toDateTime(s.firstDate));
    ui->checkSecondDate->setChecked(s.secondDateState == 1);
    ui->comboSecondDateType->setCurrentIndex(static_cast<int>(s.secondDateSelectedItem));
    ui->comboSecondDateTermOFComparison->setCurrentIndex(
        static_cast<int>(s.secondDateComparisonItem));
    ui->dataPickerSecondDate->setDateTime(toDateTime(s.secondDate));

    ui->checkFirstFileSize->setChecked(s.firstFileSizeState == 1);
    ui->comboFirstFileSizeTermOfComparison->setCurrentIndex(
        static_cast<int>(s.firstFileSizeComparisonItem));
    ui->textFieldFirstFileSize->setText(QString::number(s.firstFileSize));
    ui->stepperFirstFileSize->setValue(static_cast<double>(s.firstFileSize));
    ui->comboFirstFileSizeUnit->setCurrentIndex(static_cast<int>(s.firstFileSizeUnit));
    ui->checkSecondFileSize->setChecked(s.secondFileSizeState == 1);
    ui->comboSecondFileSizeTermOfComparison->setCurrentIndex(
        static_cast<int>(s.secondFileSizeComparisonItem));
    ui->textFieldSecondFileSize->setText(QString::number(s.secondFileSize));
    ui->stepperSecondFileSize->setValue(static_cast<double>(s.secondFileSize));
    ui->comboSecondFileSizeUnit->setCurrentIndex(static_cast<int>(s.secondFileSizeUnit));

    ui->checkCustomFileTypes->setChecked(s.customFileTypesState == 1);
    extensionsList = s.customFileExtensions;
    ui->textFieldExtension->setText(QString::fromStdString(s.customFileType));

    ui->checkCustomFilePath->setChecked(s.customFilePathState == 1);
    if (s.customFilePath != " ") {
        ui->textFieldCustomFilePath->setText(toText(s.customFilePath));
    } else if (const std::string folder = defaultFolder(); !folder.empty()) {
        s.customFilePath = folder;
        ui->textFieldCustomFilePath->setText(toText(folder));
    } else {
        ui->textFieldCustomFilePath->clear();
    }
    ui->checkSubfolders->setChecked(s.subfoldersState == 1);
    ui->comboMatch->setCurrentIndex(static_cast<int>(s.matchState));
    extensionsModel_->reload();
}

void ViewControllerCustomKeep::SaveControls() {
    SettingsManager& s = settingsManager;
    s.firstDateState = ui->checkFirstDate->isChecked() ? 1 : 0;
    s.firstDateSelectedItem = ui->comboFirstDateType->currentIndex();
    s.firstDateComparisonItem = ui->comboFirstDateTermOfComparison->currentIndex();
    s.firstDate = toDate(ui->dataPickerFirstDate->dateTime());
    s.secondDateState = ui->checkSecondDate->isChecked() ? 1 : 0;
    s.secondDateSelectedItem = ui->comboSecondDateType->currentIndex();
    s.secondDateComparisonItem = ui->comboSecondDateTermOFComparison->currentIndex();
    s.secondDate = toDate(ui->dataPickerSecondDate->dateTime());

    s.firstFileSizeState = ui->checkFirstFileSize->isChecked() ? 1 : 0;
    s.firstFileSizeComparisonItem = ui->comboFirstFileSizeTermOfComparison->currentIndex();
    s.firstFileSize = wholeSize(ui->textFieldFirstFileSize->text());
    s.firstFileSizeUnit = ui->comboFirstFileSizeUnit->currentIndex();
    s.secondFileSizeState = ui->checkSecondFileSize->isChecked() ? 1 : 0;
    s.secondFileSizeComparisonItem = ui->comboSecondFileSizeTermOfComparison->currentIndex();
    s.secondFileSize = wholeSize(ui->textFieldSecondFileSize->text());
    s.secondFileSizeUnit = ui->comboSecondFileSizeUnit->currentIndex();

    s.customFileTypesState = ui->checkCustomFileTypes->isChecked() ? 1 : 0;
    s.customFileExtensions = extensionsList;
    s.customFileType = ui->textFieldExtension->text().toStdString();
    s.customFilePathState = ui->checkCustomFilePath->isChecked() ? 1 : 0;
    s.customFilePath = toPath(ui->textFieldCustomFilePath->text());
    s.subfoldersState = ui->checkSubfolders->isChecked() ? 1 : 0;
    s.matchState = ui->comboMatch->currentIndex();
}

void ViewControllerCustomKeep::RestoreDefaults() {
    const std::string outcome = settingsManager.customSettingsOption;
    ResetCustomSettings(settingsManager);
    settingsManager.customSettingsOption = outcome;
    const std::string folder = defaultFolder();
    settingsManager.customFilePath = folder.empty() ? " " : folder;
    extensionsList.clear();
    LoadControls();
}

void ViewControllerCustomKeep::OnReset() {
    RestoreDefaults();
    LoadControls();
}

void ViewControllerCustomKeep::CheckFileSizeField(QLineEdit* field, Stepper* stepper,
                                                  const QString& fallback) {
    const auto number = wholeNumber(field->text());
    if (!number) {
        field->setText(fallback);
    } else if (*number < 0) {
        field->setText(QStringLiteral("0"));
    } else if (*number > kLargestSize) {
        field->setText(QStringLiteral("100000"));
    }
    stepper->setValue(numericValue(field->text()));
}

void ViewControllerCustomKeep::ShowStepperValue(QLineEdit* field, const Stepper* stepper) {
    field->setText(QString::asprintf("%.0f", stepper->value()));
}

void ViewControllerCustomKeep::OnFirstFileSizeChanged() {
    CheckFileSizeField(ui->textFieldFirstFileSize, ui->stepperFirstFileSize, QStringLiteral("200"));
}

void ViewControllerCustomKeep::OnSecondFileSizeChanged() {
    CheckFileSizeField(ui->textFieldSecondFileSize, ui->stepperSecondFileSize,
                       QStringLiteral("100"));
}

void ViewControllerCustomKeep::OnStepperFirstFilesizeChanged() {
    ShowStepperValue(ui->textFieldFirstFileSize, ui->stepperFirstFileSize);
}

void ViewControllerCustomKeep::OnStepperSecondFileSizeChanged() {
    ShowStepperValue(ui->textFieldSecondFileSize, ui->stepperSecondFileSize);
}

void ViewControllerCustomKeep::OncustomFileTypesAddFileExtension() {
    const std::string typed = ui->textFieldExtension->text().toStdString();
    const std::string extension = lowerCased(typed);
    const bool listed =
        std::any_of(extensionsList.begin(), extensionsList.end(),
                    [&](const std::string& entry) { return sameExtension(entry, extension); });
    if (!listed && !typed.empty()) extensionsList.push_back(extension);
    extensionsModel_->reload();
}

void ViewControllerCustomKeep::OnCustomFileTypesRemoveSelected() {
    const QModelIndexList rows = ui->tableViewCustomFileTypes->selectionModel()->selectedRows();
    if (extensionsList.empty() || rows.isEmpty()) return;
    const int row = rows.front().row();
    if (row < 0 || row >= static_cast<int>(extensionsList.size())) return;
    extensionsList.erase(extensionsList.begin() + row);
    extensionsModel_->reload();
}

void ViewControllerCustomKeep::OnCustomFileTypesRemoveAll() {
    if (extensionsList.empty()) return;
    extensionsList.clear();
    extensionsModel_->reload();
}

void ViewControllerCustomKeep::OnBrowse() {
    const auto folder =
        panels_.chooseFolder(this, "Select File Path", toPath(ui->textFieldCustomFilePath->text()));
    if (folder) ui->textFieldCustomFilePath->setText(toText(*folder));
}

void ViewControllerCustomKeep::OnOk() {
    const auto attributes =
        platform::followedAttributes(toPath(ui->textFieldCustomFilePath->text()));
    const bool isFolder = attributes && attributes->isFolder;
    if (!isFolder && ui->checkCustomFilePath->isChecked()) {
        alerts_.runModal({kInvalidPath, {"OK"}});
        return;
    }
    // A size typed just now may not have been checked yet: OK takes it as leaving the field.
    OnFirstFileSizeChanged();
    OnSecondFileSizeChanged();
    SaveControls();
    settingsManager.customSettingsOption = "OK";
    accept();
}

void ViewControllerCustomKeep::OnCancel() {
    settingsManager.customSettingsOption = "Cancel";
    reject();
}

}  // namespace kelvora
