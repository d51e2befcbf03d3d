// The progress window: starts a search when it is first shown, follows its counts, turns the
// cancel button, Escape and the close button into a cancel request, and at the end closes and
// either reports that nothing was found or leaves openDuplicatesWindow set for the main window.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include <QDialog>

#include "ui/WindowServices.h"

class QTimer;

namespace Ui {
class ViewControllerProgress;
}

namespace kelvora {

class ViewControllerProgress final : public QDialog {
    Q_OBJECT
public:
    explicit ViewControllerProgress(WindowServices services, QWidget* parent = nullptr);
    ~ViewControllerProgress() override;

    // The labels and the bar for the given counts.
    void showProgress(std::int64_t totalFiles, std::int64_t checkedFiles);
    void cancelSearch();
    // The end of a search that was not cancelled, on the main thread.
    void finishSearch();
    void closeProgressWindow();

public Q_SLOTS:
    void OnCancel();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void reject() override;

private:
    struct LatestCounts;
    void startSearch();
    void showLatestProgress();
    // Once a step of the search has lasted, the bytes of file contents read so far: the counts
    // stand still while one group of large files is compared, and the window must not look hung.
    void showContentsRead();

    std::unique_ptr<Ui::ViewControllerProgress> ui;
    WindowServices services_;
    SettingsManager& settingsManager;
    // Written by the search for every step, read by the refresh timer: the engine posts far
    // more often than anyone can read, and one repaint per step would freeze the window.
    std::shared_ptr<LatestCounts> latest_;
    std::uint64_t shownUpdate_ = 0;
    std::chrono::steady_clock::time_point lastStep_;
    std::uint64_t contentsReadBefore_ = 0;  // the meter when this search began
    bool contentsReadShown_ = false;
    QTimer* refresh_;
    platform::ObserverRegistration updateProgress_;
    platform::ObserverRegistration searchThreadFinished_;
    bool started_ = false;
    bool closed_ = false;
    // The window closes on "SearchThreadFinished" only once the search's worker has ended
    // too, so that the next search never starts beside it.
    bool stopped_ = false;
    bool ended_ = false;
};

}  // namespace kelvora
