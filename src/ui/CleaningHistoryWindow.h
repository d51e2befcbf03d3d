// Past cleanings in the desktop application: Undo Last Cleaning, and the Cleaning History
// window that lists every journal kept and undoes the one selected.
#pragma once

#include <memory>

#include <QDialog>

#include "results/Alerts.h"
#include "results/CleaningJournal.h"

class QTableView;
class QPushButton;

namespace kelvora {

class CleaningHistoryModel;

// Asks, puts back what the cleaning moved to the trash on a worker behind a busy dialog, and
// reports what came back and what did not. False when nothing was done.
bool undoWithQuestion(QWidget* parent, Alerts& alerts, const JournalRecord& record);

// The newest cleaning, undone as above; a notice when there is none.
void OnUndoLastCleaning(QWidget* parent, Alerts& alerts);

class CleaningHistoryWindow final : public QDialog {
    Q_OBJECT
public:
    CleaningHistoryWindow(Alerts& alerts, QWidget* parent = nullptr);
    ~CleaningHistoryWindow() override;

    void reload();

private:
    void OnUndoSelected();

    Alerts& alerts_;
    QTableView* table_;
    QPushButton* undo_;
    std::unique_ptr<CleaningHistoryModel> model_;
};

}  // namespace kelvora
