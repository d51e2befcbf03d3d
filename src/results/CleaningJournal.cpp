// Writing and reading the cleanings' journals.
#include "results/CleaningJournal.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "core/JsonText.h"

namespace kelvora {

namespace {

constexpr const char* kJournalTag = "kelvora cleaning";
constexpr std::size_t kKeptJournals = 100;
constexpr std::time_t kKeptSeconds = 90 * 24 * 3600;

std::string localTime(std::time_t when, const char* pattern) {
    std::tm parts{};
    ::localtime_r(&when, &parts);
    char text[64];
    std::strftime(text, sizeof text, pattern, &parts);
    return text;
}

std::string number(std::int64_t value) {
    return std::to_string(value);
}

// The copy of its group that stays, as the cleaning will look for one first.
std::string stayingCopy(const CleaningPlan::Group& group) {
    for (const DuplicateFile& member : group.members) {
        if (member.checkState != 1 || member.reference) return member.path;
    }
    return {};
}

std::uint64_t unsignedMember(const JsonMembers& members, const char* key) {
    const auto found = members.find(key);
    return found == members.end() ? 0 : std::strtoull(found->second.c_str(), nullptr, 10);
}

void readLine(const JsonMembers& line, JournalRecord& record,
              std::map<std::string, std::size_t, std::less<>>& index) {
    const auto copyOf = [&](const char* key) -> JournalCopy* {
        const auto path = line.find(key);
        if (path == line.end()) return nullptr;
        const auto at = index.find(path->second);
        return at == index.end() ? nullptr : &record.copies[at->second];
    };
    if (const auto plan = line.find("plan"); plan != line.end()) {
        JournalCopy copy;
        copy.path = plan->second;
        copy.stamp = {unsignedMember(line, "device"), unsignedMember(line, "inode"),
                      unsignedMember(line, "size"),
                      static_cast<std::int64_t>(unsignedMember(line, "modified")),
                      static_cast<std::int64_t>(unsignedMember(line, "changed"))};
        copy.bytes = unsignedMember(line, "bytes");
        if (const auto stays = line.find("stays"); stays != line.end()) copy.stays = stays->second;
        index[copy.path] = record.copies.size();
        record.copies.push_back(std::move(copy));
    } else if (JournalCopy* copy = copyOf("moving")) {
        copy->state = JournalCopy::State::Trashed;
        copy->trashed = {line.count("trashed") ? line.at("trashed") : "",
                         line.count("info") ? line.at("info") : ""};
    } else if (JournalCopy* copy = copyOf("deleting")) {
        copy->state = JournalCopy::State::Deleted;
    } else if (JournalCopy* copy = copyOf("copy")) {
        copy->state = JournalCopy::State::Stayed;
    } else if (JournalCopy* copy = copyOf("undone")) {
        copy->undone = true;
    } else if (line.count("finished")) {
        record.finished = true;
    }
}

}  // namespace

std::string cleaningsFolder() {
    return platform::userStateFolder() + "/cleanings";
}

platform::Result<std::unique_ptr<CleaningJournal>> CleaningJournal::begin(const CleaningPlan& plan,
                                                                          bool moveToTrash) {
    using Failure = platform::Result<std::unique_ptr<CleaningJournal>>;
    const std::string folder = cleaningsFolder();
    if (const int error = platform::makePrivateFolders(folder); error != 0)
        return Failure::failure(platform::errorDescription(folder, error));
    pruneJournals();
    const std::time_t now = std::time(nullptr);
    // Named by the second and the process; a second cleaning of that second gets a number.
    const std::string id = localTime(now, "%Y%m%d-%H%M%S-") + number(::getpid());
    std::string path;
    platform::FileHandle file;
    for (int attempt = 1; !file.valid(); ++attempt) {
        path = folder + "/" + id + (attempt > 1 ? "-" + number(attempt) : "") + ".jsonl";
        file = platform::FileHandle(
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600));
        if (!file.valid() && (errno != EEXIST || attempt == 1000))
            return Failure::failure(platform::errorDescription(path, errno));
    }
    std::unique_ptr<CleaningJournal> journal(new CleaningJournal(std::move(file), path));
    std::string text = "{\"journal\": " + jsonString(kJournalTag) + ", \"version\": 1" +
                       ", \"started\": " + jsonString(localTime(now, "%Y-%m-%dT%H:%M:%S%z")) +
                       ", \"mode\": " + jsonString(moveToTrash ? "trash" : "delete") + "}\n";
    for (const CleaningPlan::Group& group : plan.groups) {
        const std::string stays = stayingCopy(group);
        for (const DuplicateFile& member : group.members) {
            if (member.checkState != 1) continue;
            const FileStamp& s = member.stamp;
            text += "{\"plan\": " + jsonString(member.path) +
                    ", \"device\": " + number(static_cast<std::int64_t>(s.device)) +
                    ", \"inode\": " + number(static_cast<std::int64_t>(s.inode)) +
                    ", \"size\": " + number(static_cast<std::int64_t>(s.size)) +
                    ", \"modified\": " + number(s.modified) +
                    ", \"changed\": " + number(s.changed) + ", \"stays\": " + jsonString(stays) +
                    ", \"bytes\": " + number(static_cast<std::int64_t>(group.size)) + "}\n";
        }
    }
    text += "{\"planned\": " + number(static_cast<std::int64_t>(plan.selectedCopies)) + "}\n";
    if (auto error = journal->append(text, true)) {
        ::unlink(path.c_str());
        return Failure::failure(*error);
    }
    // The journal's own name in its folder must outlive a crash too.
    if (platform::FileHandle dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        dir.valid()) {
        ::fsync(dir.get());
    }
    return journal;
}

std::optional<std::string> CleaningJournal::append(const std::string& line, bool durable) {
    std::size_t written = 0;
    while (written < line.size()) {
        const ssize_t got = ::write(file_.get(), line.data() + written, line.size() - written);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return platform::errorDescription(path_, got < 0 ? errno : ENOSPC);
        written += static_cast<std::size_t>(got);
    }
    if (durable && ::fdatasync(file_.get()) != 0) return platform::errorDescription(path_, errno);
    return std::nullopt;
}

std::optional<std::string> CleaningJournal::moving(const std::string& copy,
                                                   const platform::TrashedItem& item) {
    return append("{\"moving\": " + jsonString(copy) +
                      ", \"trashed\": " + jsonString(item.trashedPath) +
                      ", \"info\": " + jsonString(item.infoPath) + "}\n",
                  true);
}

std::optional<std::string> CleaningJournal::deleting(const std::string& copy) {
    return append("{\"deleting\": " + jsonString(copy) + "}\n", true);
}

void CleaningJournal::outcome(const std::string& copy, const char* what,
                              const std::string& detail) {
    append("{\"outcome\": " + jsonString(what) + ", \"copy\": " + jsonString(copy) +
               ", \"detail\": " + jsonString(detail) + "}\n",
           false);
}

void CleaningJournal::finish(const CleanReport& report) {
    const auto count = [](const auto& list) {
        return number(static_cast<std::int64_t>(list.size()));
    };
    append("{\"finished\": true, \"removed\": " + count(report.removed) +
               ", \"kept\": " + count(report.kept) + ", \"failed\": " + count(report.failed) +
               ", \"notReached\": " + count(report.notReached) + "}\n",
           true);
}

JournalTotals totalsOf(const JournalRecord& record) {
    JournalTotals totals;
    for (const JournalCopy& copy : record.copies) {
        if (copy.state != JournalCopy::State::Trashed && copy.state != JournalCopy::State::Deleted)
            continue;
        ++totals.removed;
        totals.bytesFreed += copy.bytes;
    }
    return totals;
}

platform::Result<JournalRecord> readJournal(const std::string& path) {
    using Failure = platform::Result<JournalRecord>;
    std::ifstream file(path, std::ios::binary);
    if (!file) return Failure::failure(platform::errorDescription(path, errno));
    JournalRecord record;
    record.path = path;
    const std::string name(platform::lastPathComponent(path));
    record.id = name.substr(0, name.rfind('.'));
    std::string line;
    if (!std::getline(file, line)) return Failure::failure("\"" + path + "\": empty");
    const auto header = parseJsonObject(line);
    if (!header || !header->count("journal") || header->at("journal") != kJournalTag)
        return Failure::failure("\"" + path + "\": not a cleaning journal");
    record.started = header->count("started") ? header->at("started") : "";
    record.moveToTrash = !header->count("mode") || header->at("mode") != "delete";
    std::map<std::string, std::size_t, std::less<>> index;
    while (std::getline(file, line)) {
        // A line a crash cut short, or one damaged since, says nothing.
        if (const auto members = parseJsonObject(line)) readLine(*members, record, index);
    }
    return record;
}

std::vector<JournalRecord> cleaningHistory(std::vector<std::string>* skipped) {
    std::vector<JournalRecord> history;
    const std::string folder = cleaningsFolder();
    const auto names = platform::listFolder(folder);
    if (!names) return history;
    for (const std::string& name : *names) {
        if (!name.ends_with(".jsonl")) continue;
        auto record = readJournal(folder + "/" + name);
        if (record) {
            history.push_back(std::move(*record));
        } else if (skipped != nullptr) {
            skipped->push_back(record.error());
        }
    }
    std::sort(history.begin(), history.end(),
              [](const JournalRecord& a, const JournalRecord& b) { return a.id > b.id; });
    return history;
}

void pruneJournals() {
    const std::string folder = cleaningsFolder();
    auto names = platform::listFolder(folder);
    if (!names) return;
    std::erase_if(*names, [](const std::string& name) { return !name.ends_with(".jsonl"); });
    std::sort(names->rbegin(), names->rend());
    const std::time_t oldest = std::time(nullptr) - kKeptSeconds;
    for (std::size_t i = kKeptJournals; i < names->size(); ++i) {
        const std::string path = folder + "/" + (*names)[i];
        struct stat st;
        if (::stat(path.c_str(), &st) == 0 && st.st_mtime < oldest) ::unlink(path.c_str());
    }
}

}  // namespace kelvora
