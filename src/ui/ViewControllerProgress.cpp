// A search run behind a modal window.
#include "ui/ViewControllerProgress.h"

#include <algorithm>
#include <mutex>

#include <QCloseEvent>
#include <QPointer>
#include <QTimer>

#include "core/Texts.h"
#include "engine/FileTools.h"
#include "engine/SearchRun.h"
#include "platform/ReadMeter.h"
#include "ui/AppShell.h"
#include "ui_ViewControllerProgress.h"

namespace kelvora {

namespace {

constexpr const char* kNoDuplicates = "No duplicate files found.";
constexpr int kRefreshMilliseconds = 100;
// Most steps are over in a moment; one that lasts longer than this gets the contents line.
constexpr std::chrono::milliseconds kLastingStep{1000};

QString contentsReadText(std::uint64_t bytes) {
    return ViewControllerProgress::tr("Comparing contents: %1 read")
        .arg(QString::fromStdString(sizeText(bytes)));
}

}  // namespace

struct ViewControllerProgress::LatestCounts {
    std::mutex mutex;
    std::int64_t totalFiles = 0;
    std::int64_t checkedFiles = 0;
    std::uint64_t update = 0;  // how many notifications have arrived
};

ViewControllerProgress::ViewControllerProgress(WindowServices services, QWidget* parent)
    : QDialog(parent),
      ui(std::make_unique<Ui::ViewControllerProgress>()),
      services_(std::move(services)),
      settingsManager(services_.settingsManager),
      latest_(std::make_shared<LatestCounts>()),
      refresh_(new QTimer(this)) {
    ui->setupUi(this);
    setWindowFlag(Qt::WindowMinimizeButtonHint);
    // Wide enough for the largest counts, so that the window does not grow while it runs.
    ui->textFieldFilesScanned->setMinimumWidth(
        fontMetrics().horizontalAdvance(QStringLiteral("8888888/8888888 Files Scanned")));
    ui->textFieldPercents->setMinimumWidth(
        fontMetrics().horizontalAdvance(QStringLiteral("100.0%")));
    ui->labelContentsRead->setMinimumWidth(
        fontMetrics().horizontalAdvance(contentsReadText(1023ULL << 30)));
    refresh_->setInterval(kRefreshMilliseconds);
    connect(refresh_, &QTimer::timeout, this, &ViewControllerProgress::showLatestProgress);
    connect(ui->buttonCancelSearch, &QPushButton::clicked, this, &ViewControllerProgress::OnCancel);
    addWindowActions(*this);
}

ViewControllerProgress::~ViewControllerProgress() {
    // A window that goes away under a running search takes the search with it.
    if (started_ && !closed_) settingsManager.searchCanceledByUser = true;
}

void ViewControllerProgress::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!started_) startSearch();
}

void ViewControllerProgress::startSearch() {
    started_ = true;
    const QPointer<ViewControllerProgress> window(this);
    platform::DispatchQueue* main = &services_.main;

    // Both notifications arrive on the search's worker; they touch no control there.
    updateProgress_ = platform::ObserverRegistration(
        services_.center, kUpdateProgress, [latest = latest_](const platform::UserInfo& info) {
            const auto total = info.find(kTotalFiles);
            const auto checked = info.find(kCheckedFiles);
            if (total == info.end() || checked == info.end()) return;
            const std::lock_guard lock(latest->mutex);
            latest->totalFiles = total->second;
            latest->checkedFiles = checked->second;
            ++latest->update;
        });
    searchThreadFinished_ = platform::ObserverRegistration(
        services_.center, kSearchThreadFinished, [window, main](const platform::UserInfo&) {
            main->async([window] {
                if (!window) return;
                window->stopped_ = true;
                if (window->ended_) window->closeProgressWindow();
            });
        });

    const auto run = SearchRun::create({settingsManager, services_.center, services_.background,
                                        services_.main, services_.locations},
                                       [window] {
                                           if (window) window->finishSearch();
                                       });
    run->setOnEnded([window] {
        if (!window) return;
        window->ended_ = true;
        if (window->stopped_) window->closeProgressWindow();
    });
    run->setDigestCache(platform::DigestCache::defaultPath());
    contentsReadBefore_ = platform::contentsReadMeter().load(std::memory_order_relaxed);
    lastStep_ = std::chrono::steady_clock::now();
    run->startSearch();
    refresh_->start();
}

void ViewControllerProgress::showLatestProgress() {
    std::int64_t total = 0;
    std::int64_t checked = 0;
    std::uint64_t update = 0;
    {
        const std::lock_guard lock(latest_->mutex);
        total = latest_->totalFiles;
        checked = latest_->checkedFiles;
        update = latest_->update;
    }
    if (update != shownUpdate_) {
        shownUpdate_ = update;
        lastStep_ = std::chrono::steady_clock::now();
        showProgress(total, checked);
    }
    showContentsRead();
}

void ViewControllerProgress::showContentsRead() {
    const std::uint64_t read =
        platform::contentsReadMeter().load(std::memory_order_relaxed) - contentsReadBefore_;
    if (!contentsReadShown_) {
        if (read == 0 || std::chrono::steady_clock::now() - lastStep_ < kLastingStep) return;
        contentsReadShown_ = true;
    }
    ui->labelContentsRead->setText(contentsReadText(read));
}

void ViewControllerProgress::showProgress(std::int64_t totalFiles, std::int64_t checkedFiles) {
    if (totalFiles < 1) {
        ui->textFieldFilesScanned->setText(QStringLiteral("0/0 Files Scanned"));
        ui->textFieldPercents->setText(QString::asprintf("%.1f%%", 0.0));
        ui->progressIndicator->setValue(0);
        return;
    }
    ui->textFieldFilesScanned->setText(
        QStringLiteral("%1/%2 Files Scaned").arg(checkedFiles).arg(totalFiles));
    // Single precision, as the percentage has always been computed.
    const float percent =
        static_cast<float>(checkedFiles) / static_cast<float>(totalFiles) * 100.0f;
    ui->textFieldPercents->setText(QString::asprintf("%.1f%%", static_cast<double>(percent)));
    ui->progressIndicator->setValue(std::clamp(static_cast<int>(percent), 0, 100));
}

void ViewControllerProgress::OnCancel() {
    cancelSearch();
}

void ViewControllerProgress::cancelSearch() {
    ui->buttonCancelSearch->setText(QStringLiteral("Cancelling..."));
    ui->buttonCancelSearch->setEnabled(false);
    settingsManager.searchCanceledByUser = true;
}

// The window closes only when the search has stopped; until then closing means cancelling.
void ViewControllerProgress::closeEvent(QCloseEvent* event) {
    event->ignore();
    if (!closed_) cancelSearch();
}

void ViewControllerProgress::reject() {
    if (!closed_) cancelSearch();
}

void ViewControllerProgress::closeProgressWindow() {
    if (closed_) return;
    closed_ = true;
    refresh_->stop();
    showLatestProgress();
    done(QDialog::Accepted);
}

void ViewControllerProgress::finishSearch() {
    if (settingsManager.searchCanceledByUser.load()) return;
    if (isMinimized()) showNormal();
    closeProgressWindow();
    if (settingsManager.duplicateFileList.empty()) {
        services_.alerts.runModal(Alert{kNoDuplicates, {"OK"}});
        return;
    }
    settingsManager.openDuplicatesWindow = true;
}

}  // namespace kelvora
