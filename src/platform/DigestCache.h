// What earlier searches learned about files' contents, kept in an SQLite file under
// $XDG_CACHE_HOME/kelvora/ so that a file that has not changed is not read again. An entry
// is keyed by what says the file is the one that was read (device, inode, size, modification
// and change time); it holds no path. The cache only ever saves reads: whatever is wrong with
// it, the search runs as without it, after one console line.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/Md5.h"

struct sqlite3;

namespace kelvora::platform {

class UserDefaults;

class DigestCache {
public:
    struct Key {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::uint64_t size = 0;
        std::int64_t modified = 0;  // nanoseconds since the epoch
        std::int64_t changed = 0;   // nanoseconds since the epoch
        bool operator==(const Key&) const = default;
    };
    struct Facts {
        // The quick signature of the first bytes the search reads of a file of this size.
        std::uint64_t signature = 0;
        bool hasMd5 = false;  // the file was read whole
        Md5Digest md5{};
    };
    struct Learned {
        Key key;
        Facts facts;
    };

    // The file is opened at the first look-up, not here.
    explicit DigestCache(std::string path);
    ~DigestCache();
    DigestCache(const DigestCache&) = delete;
    DigestCache& operator=(const DigestCache&) = delete;

    // $XDG_CACHE_HOME/kelvora/digests.sqlite, or ~/.cache/kelvora/digests.sqlite.
    static std::string defaultPath();
    // The user default "DigestCache" set to "No" switches the cache off.
    static bool wanted(const UserDefaults& defaults);

    // Whether the file is there.
    bool present() const;
    // Opens the file, made if it is not there, on a thread of its own, so that the look-up
    // finds it done; once, however often it is asked. Beside a walk, only a file whose log is
    // long enough to be copied into it is opened. What goes wrong is said at the look-up,
    // after what the walk had to say.
    void openInBackground(bool besideWalk);
    // Whether the file holds any entry at all, read with the list of its buckets: a search
    // asks before it gathers its keys, and gathers only those mayHold lets through, which
    // beside other trees' entries is next to none. A look-up must follow a true answer: the
    // list and the entries are read in one transaction, which the look-up ends.
    bool holdsEntries();
    // False when the file surely holds no entry for the key; true when it may. Only between
    // holdsEntries and the look-up.
    bool mayHold(const Key& key) const;
    // What is known of each key, in the keys' order, read in one pass over the file. All
    // empty when the cache cannot be used.
    std::vector<std::optional<Facts>> lookUp(const std::vector<Key>& keys);
    // The same, passing on what is known of each key as it is met: found(k, facts) for
    // keys[k]. False when the cache turns out to be unusable on the way; whatever was passed
    // on before must then be forgotten.
    bool lookUp(const std::vector<Key>& keys,
                const std::function<void(std::size_t, const Facts&)>& found);
    // What a search learned, in the lists its threads gathered it in: read as one, never
    // copied into one.
    using LearnedLists = std::vector<std::vector<Learned>>;
    // Adds what a search learned, refreshes the entries it met that were last seen long ago
    // and drops the old ones, in one transaction. Skipped when another search is writing.
    void store(std::vector<Learned> learned);
    // The same on a thread of its own, so that the search goes on to its results meanwhile.
    // Every other call waits for it first, as does the destructor; so does a look-up through
    // any other cache of this process, which then finds what it wrote.
    void storeInBackground(LearnedLists learned);
    // Waits for a write started in the background: what it had to say is said by then. From
    // any thread, several at once.
    void waitForStore();

    // Days since the epoch by which entries are aged; tests move it.
    void setToday(std::int64_t day) {
        waitForStore();
        today_ = day;
    }
    // The most entries kept; tests lower it.
    void setMostEntries(std::int64_t most) {
        waitForStore();
        mostEntries_ = most;
    }

    static constexpr std::int64_t kForgetAfterDays = 90;
    static constexpr std::int64_t kRefreshAfterDays = 7;
    static constexpr std::int64_t kMostEntries = 1'000'000;

private:
    struct Close {
        void operator()(sqlite3* db) const;
    };
    bool open();
    // The log is long enough to be copied into the file when it is opened.
    bool logIsLong() const;
    void waitForOpener();
    bool prepareSchema();
    // The store, on the writer's thread, with the process's other writes held off.
    void write(LearnedLists lists);
    // One console line for the problem; a damaged file is also renamed out of the way.
    void giveUp(const std::string& what, int code);
    void say(const std::string& line);
    void sayHeldLines();
    void setAside();
    // Keeps the entries within the cap, inside the store's transaction; an SQLite code.
    int trim();

    std::string path_;
    std::unique_ptr<sqlite3, Close> db_;
    bool failed_ = false;
    std::int64_t today_;
    // From holdsEntries until the look-up: the file's buckets, in key order, with the row of
    // their entries, and a filter of them, a bit per bucket number hashed.
    struct Row {
        std::uint64_t device = 0;
        std::uint64_t bucket = 0;
        std::int64_t count = 0;
        std::int64_t pack = 0;
    };
    std::vector<Row> rows_;
    std::vector<std::uint64_t> filter_;
    bool reading_ = false;  // a read transaction is open
    void endReading();
    // From the look-up: the entries met that are due a new last-seen day, the buckets that
    // hold an entry past its time, and how many entries there are.
    std::vector<Learned> stale_;
    std::vector<std::pair<std::uint64_t, std::uint64_t>> expired_;  // device, bucket
    std::int64_t entries_ = 0;
    std::int64_t mostEntries_ = kMostEntries;
    bool holdingLines_ = false;
    std::vector<std::string> heldLines_;
    std::mutex joining_;
    // Last, so that they are joined before anything they use is gone. The opener is joined
    // by whoever uses the file next: the writer, or a call that has waited for the writer.
    std::jthread writer_;
    std::jthread opener_;
};

}  // namespace kelvora::platform
