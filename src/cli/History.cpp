// kelvora-cli --history and --undo.
#include "cli/History.h"

#include "core/JsonText.h"
#include "core/Texts.h"
#include "results/CleaningJournal.h"
#include "results/Undo.h"

namespace kelvora::cli {

namespace {

std::string jsonList(const std::vector<std::string>& paths) {
    std::string text = "[";
    for (const std::string& path : paths) text += (text.size() > 1 ? ", " : "") + jsonString(path);
    return text + "]";
}

}  // namespace

int printHistory(std::ostream& out, bool json) {
    const std::vector<JournalRecord> history = cleaningHistory();
    if (json) out << "{\"cleanings\": [";
    bool first = true;
    for (const JournalRecord& record : history) {
        const JournalTotals summary = totalsOf(record);
        const std::size_t restorable = record.moveToTrash ? restorableCopies(record) : 0;
        const char* mode = record.moveToTrash ? "trash" : "delete";
        if (json) {
            out << (first ? "\n" : ",\n") << "  {\"id\": " << jsonString(record.id)
                << ", \"started\": " << jsonString(record.started) << ", \"mode\": \"" << mode
                << "\", \"copies\": " << record.copies.size()
                << ", \"removed\": " << summary.removed
                << ", \"bytesFreed\": " << summary.bytesFreed << ", \"restorable\": " << restorable
                << ", \"finished\": " << (record.finished ? "true" : "false") << "}";
        } else {
            out << record.id << "  " << record.started << "  " << mode << "  " << summary.removed
                << " of " << record.copies.size() << " copies removed, "
                << sizeText(summary.bytesFreed) << " freed, " << restorable << " can be put back"
                << (record.finished ? "" : " (cut off)") << '\n';
        }
        first = false;
    }
    if (json) out << (history.empty() ? "]}\n" : "\n]}\n");
    if (!json && history.empty()) out << "No cleanings yet.\n";
    return 0;
}

int undo(const std::string& which, std::ostream& out, std::ostream& err, bool json) {
    const std::vector<JournalRecord> history = cleaningHistory();
    const JournalRecord* record = nullptr;
    for (const JournalRecord& candidate : history) {
        if (which == "last" || candidate.id == which) {
            record = &candidate;
            break;
        }
    }
    if (record == nullptr) {
        err << "kelvora-cli: no cleaning " << (which == "last" ? "yet" : "\"" + which + "\"")
            << "; --history lists them\n";
        return 2;
    }
    const UndoReport report = undoCleaning(*record);
    if (json) {
        out << "{\"id\": " << jsonString(record->id)
            << ", \"restored\": " << jsonList(report.restored)
            << ", \"alreadyInPlace\": " << jsonList(report.alreadyInPlace) << ", \"left\": [";
        for (std::size_t i = 0; i < report.left.size(); ++i) {
            out << (i ? ", " : "") << "{\"path\": " << jsonString(report.left[i].path)
                << ", \"reason\": " << jsonString(report.left[i].reason) << "}";
        }
        out << "], \"deletedForGood\": " << jsonList(report.deletedForGood) << "}\n";
    } else {
        out << "Put back " << report.restored.size() << " copies of cleaning " << record->id
            << ".\n";
        for (const KeptCopy& copy : report.left)
            out << "Not put back: " << copy.path << ": " << copy.reason << ".\n";
        for (const std::string& path : report.deletedForGood)
            out << "Deleted for good, it cannot come back: " << path << '\n';
    }
    return report.complete() ? 0 : 1;
}

}  // namespace kelvora::cli
