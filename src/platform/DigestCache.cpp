// The digest cache in SQLite. Searches read it in one pass before the first file is read
// (a scan of every bucket in key order, merged with the search's files sorted the same way,
// reading the entries of only the buckets that hold some of them, beat a temporary table
// joined with the entries and one query per file), and write it in one transaction when the
// comparison is done. Write-ahead logging lets a search read it while another writes; a
// search that finds it being written keeps nothing rather than wait.
#include "platform/DigestCache.h"

#include <pthread.h>
#include <sched.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <numeric>
#include <optional>
#include <span>
#include <utility>

#include "platform/CacheEntries.h"
#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/Memory.h"
#include "platform/RadixSort.h"
#include "platform/UserDefaults.h"

namespace kelvora::platform {

namespace {

// 3: the signature of the first bytes became XXH3 of at most 4 KB; an entry of an older
// format holds a signature that means something else, and is learned again.
// 4: entries packed in 36 bytes rather than 64.
// 5: what says which buckets there are kept apart from their packed entries (see the schema).
// 6: entries packed with varints, their times as differences.
constexpr int kFormat = 6;
// How long the write-ahead log may grow before a search copies it into the file: about what a
// first search of 200,000 files writes. Every search that opens the file reads the whole log
// again, to check it (1.2 MB: 0.3 ms of CPU, 12 MB: 2.6 ms), while copying it costs about
// twice that, once (0.6 and 5.4 ms, and waits for the disk on the opening's own thread): with
// the 16 MB allowed before, the log of a few searches made every later opening pay for it.
constexpr off_t kLongestLog = 4 << 20;
// A bucket's entries take about 6 KB: a page of 8 KB holds them with the least left over
// (18,000 entries written into a new file: a log of 444 KB in 1.75 ms, against 722 KB in
// 1.96 ms with pages of 16 KB and 424 KB in 1.84 ms with pages of 4 KB). Set only when the
// file is made.
constexpr const char* kPageSize = "PRAGMA page_size=8192;";

struct Statement {
    sqlite3_stmt* statement = nullptr;
    Statement(sqlite3* db, const std::string& sql) {
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
            statement = nullptr;
        }
    }
    ~Statement() { sqlite3_finalize(statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
};

// Runs a statement that returns no rows, ready to be bound again; an SQLite code.
int step(sqlite3_stmt* statement) {
    const int code = sqlite3_step(statement);
    sqlite3_reset(statement);
    return code;
}

bool damaged(int code) {
    code &= 0xff;
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

// SQLite compares integers as signed: devices are ordered as it orders them. Within a device
// the buckets, and so the inodes, are ordered as unsigned (a bucket never has its top bit).
bool keyBefore(const DigestCache::Key& a, const DigestCache::Key& b) {
    const auto ad = static_cast<std::int64_t>(a.device);
    const auto bd = static_cast<std::int64_t>(b.device);
    if (ad != bd) return ad < bd;
    return a.inode < b.inode;
}

struct Bucket {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    bool operator==(const Bucket&) const = default;
    bool operator<(const Bucket& other) const {
        const auto d = static_cast<std::int64_t>(device);
        const auto od = static_cast<std::int64_t>(other.device);
        return d != od ? d < od : number < other.number;
    }
};

// Removes a bucket's row and the row of its entries, through the two statements that delete
// them; an SQLite code.
int dropBucket(sqlite3_stmt* dropRow, sqlite3_stmt* dropPack, const Bucket& bucket,
               std::int64_t packId) {
    sqlite3_bind_int64(dropRow, 1, static_cast<std::int64_t>(bucket.device));
    sqlite3_bind_int64(dropRow, 2, static_cast<std::int64_t>(bucket.number));
    sqlite3_bind_int64(dropPack, 1, packId);
    const int code = step(dropRow);
    return code == SQLITE_DONE ? step(dropPack) : code;
}

Bucket bucketOf(const DigestCache::Key& key) {
    return {key.device, key.inode >> kBucketShift};
}

using Entry = CacheEntry;

// The bucket packed in a column of the row, into entries; false when the column holds anything
// else.
bool unpackColumn(sqlite3_stmt* row, int column, const Bucket& bucket, std::int64_t count,
                  std::vector<Entry>& entries) {
    if (sqlite3_column_type(row, column) != SQLITE_BLOB) return false;
    const void* bytes = sqlite3_column_blob(row, column);
    return unpackEntries(bucket.device, bucket.number, bytes,
                         static_cast<std::size_t>(sqlite3_column_bytes(row, column)), count,
                         entries);
}

struct Place {
    std::uint64_t order;  // device's rank and inode, when they fit; otherwise unused
    std::uint32_t index;  // in its list
    std::uint32_t list;
};

// The places of the items of the lists, read as one list in their order, sorted in the order of
// the buckets. A search meets a few devices and inodes below 2^56: the device's rank and the
// inode then make one number, sorted by its bytes from the lowest (skipping those that are the
// same in every key), which takes a tenth of the time of comparing keys (150,000 keys: 2
// against 20 ms). ranked tells whether the places hold that number.
template <class T, class KeyOf>
std::vector<Place> inBucketOrder(const std::vector<std::span<const T>>& lists, const KeyOf& keyOf,
                                 bool* ranked = nullptr) {
    std::vector<Place> places;
    std::size_t count = 0;
    for (const std::span<const T>& list : lists) count += list.size();
    reservePopulated(places, count);
    if (ranked != nullptr) *ranked = false;
    std::vector<std::uint64_t> devices;
    bool fits = true;
    for (std::uint32_t list = 0; list < lists.size(); ++list) {
        for (std::uint32_t index = 0; index < lists[list].size(); ++index) {
            const DigestCache::Key& key = keyOf(lists[list][index]);
            places.push_back({0, index, list});
            if (!fits) continue;
            fits = key.inode >> 56 == 0;
            if (std::find(devices.begin(), devices.end(), key.device) == devices.end()) {
                devices.push_back(key.device);
                fits = fits && devices.size() <= 256;
            }
        }
    }
    const auto keyAt = [&](const Place& place) -> const DigestCache::Key& {
        return keyOf(lists[place.list][place.index]);
    };
    if (!fits) {
        std::stable_sort(places.begin(), places.end(), [&](const Place& a, const Place& b) {
            return keyBefore(keyAt(a), keyAt(b));
        });
        return places;
    }
    std::sort(devices.begin(), devices.end(), [](std::uint64_t a, std::uint64_t b) {
        return static_cast<std::int64_t>(a) < static_cast<std::int64_t>(b);
    });
    for (Place& place : places) {
        const DigestCache::Key& key = keyAt(place);
        const auto rank = static_cast<std::uint64_t>(
            std::lower_bound(devices.begin(), devices.end(), key.device,
                             [](std::uint64_t a, std::uint64_t b) {
                                 return static_cast<std::int64_t>(a) < static_cast<std::int64_t>(b);
                             }) -
            devices.begin());
        place.order = rank << 56 | key.inode;
    }
    radixSort(places, [](const Place& place) { return place.order; });
    if (ranked != nullptr) *ranked = true;
    return places;
}

// The writes of this process: one at a time, and counted from the moment one is asked for in
// the background, so that a search that looks the cache up meanwhile waits for it rather than
// read the cache without what it is about to add, and then write it all again, or find it
// busy and keep nothing.
struct Writes {
    std::mutex oneAtATime;
    std::mutex mutex;
    std::condition_variable done;
    int pending = 0;
};

Writes& writes() {
    static Writes all;
    return all;
}

void waitForWrites() {
    Writes& all = writes();
    std::unique_lock lock(all.mutex);
    all.done.wait(lock, [&] { return all.pending == 0; });
}

std::int64_t daysSinceEpoch() {
    return static_cast<std::int64_t>(std::time(nullptr)) / 86400;
}

}  // namespace

void DigestCache::Close::operator()(sqlite3* db) const {
    sqlite3_close_v2(db);
}

DigestCache::DigestCache(std::string path) : path_(std::move(path)), today_(daysSinceEpoch()) {}

DigestCache::~DigestCache() = default;

std::string DigestCache::defaultPath() {
    std::string folder;
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && cache[0] == '/') {
        folder = cache;
    } else if (const char* home = std::getenv("HOME"); home && home[0] == '/') {
        folder = std::string(home) + "/.cache";
    } else {
        return {};
    }
    return folder + "/kelvora/digests.sqlite";
}

bool DigestCache::wanted(const UserDefaults& defaults) {
    return defaults.stringForKey("DigestCache") != "No";
}

void DigestCache::say(const std::string& line) {
    if (holdingLines_) {
        heldLines_.push_back(line);
    } else {
        console(line);
    }
}

void DigestCache::sayHeldLines() {
    for (const std::string& line : heldLines_) console(line);
    heldLines_.clear();
}

bool DigestCache::present() const {
    return !path_.empty() && ::access(path_.c_str(), F_OK) == 0;
}

bool DigestCache::logIsLong() const {
    struct stat log {};
    return ::stat((path_ + "-wal").c_str(), &log) == 0 && log.st_size >= kLongestLog;
}

void DigestCache::openInBackground(bool besideWalk) {
    waitForStore();
    // Asked before and after the walk, the file is opened once. The opener is looked at
    // before db_, which it alone may be setting meanwhile.
    if (opener_.joinable() || db_ || failed_ || path_.empty()) return;
    // A short log is read back in well under a millisecond. A thread that did it beside the
    // walk cost more than it saved, even on a core only the walk's pauses leave it: a first
    // search of 20,000 files beside another tree's cache took 1.9 to 3.2 ms longer with it
    // than opening at the look-up (100 paired runs on each of two trees), the walk's own two
    // threads slowed long after it was done.
    if (besideWalk && !logIsLong()) return;
    holdingLines_ = true;
    opener_ = std::jthread([this, besideWalk] {
        // Beside the walk, only on a core that nothing else wants: copying the log waits for
        // the disk, and at normal priority the time it takes of the processor came out of
        // the walk.
        if (besideWalk) {
            const sched_param none{};
            pthread_setschedparam(pthread_self(), SCHED_IDLE, &none);
        }
        open();
    });
}

void DigestCache::waitForOpener() {
    if (!opener_.joinable()) return;
    opener_.join();
    holdingLines_ = false;
}

void DigestCache::giveUp(const std::string& what, int code) {
    failed_ = true;
    endReading();
    db_.reset();
    if (damaged(code)) {
        setAside();
        return;
    }
    say("Ooops! Something went wrong: \"" + path_ + "\": " + what +
        "; the digest cache is not used");
}

// A damaged file is kept for whoever wants to look at it; the next search starts a new one.
void DigestCache::setAside() {
    char stamp[32];
    const std::time_t now = std::time(nullptr);
    struct tm local {};
    ::localtime_r(&now, &local);
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
    const std::string aside = path_ + ".damaged-" + stamp;
    std::string line = "Ooops! Something went wrong: \"" + path_ + "\": damaged; ";
    if (std::rename(path_.c_str(), aside.c_str()) == 0) {
        for (const char* companion : {"-wal", "-shm"}) {
            std::rename((path_ + companion).c_str(), (aside + companion).c_str());
        }
        line += "set aside as \"" + aside + "\"";
    } else {
        line += "could not be set aside: " + std::string(std::strerror(errno));
    }
    say(line + "; the digest cache is not used");
}

bool DigestCache::open() {
    if (db_) return true;
    if (failed_ || path_.empty()) return false;
    const std::size_t slash = path_.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        if (const int error = makePrivateFolders(path_.substr(0, slash)); error != 0) {
            giveUp(std::strerror(error), SQLITE_CANTOPEN);
            return false;
        }
    }
    // SQLite's count of the memory it holds takes a process-wide lock around every allocation;
    // set before SQLite starts, once.
    static const int noMemoryCount = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    (void)noMemoryCount;
    sqlite3* db = nullptr;
    // One thread at a time uses the connection: it needs no locking around every call.
    const int code =
        sqlite3_open_v2(path_.c_str(), &db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    db_.reset(db);
    if (code != SQLITE_OK) {
        giveUp(db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(code), code);
        return false;
    }
    // SQLite opens a file it may not write for reading only; a cache that cannot learn is
    // left alone.
    if (sqlite3_db_readonly(db, "main") == 1) {
        giveUp("cannot be written", SQLITE_READONLY);
        return false;
    }
    // The write-ahead log is copied into the file only once it is long (below), not at every
    // close: each copy waits for the disk four times (a first search of 20,000 files spent 30%
    // of what the cache costs it there), nor by SQLite's own automatic copy, which left the
    // log growing by what every search wrote (22 MB after 16 searches of 20,000 changed files).
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_wal_autocheckpoint(db, 0);
    // Two searches that start together may both set the file up; the second waits briefly.
    sqlite3_busy_timeout(db, 250);
    // SQLite keeps up to 2 MiB of pages by default, about what a first search of 20,000 files
    // writes in one transaction; past a quarter of that it spills pages to the log as it goes,
    // and a small search's peak memory no longer holds them all.
    sqlite3_exec(db, "PRAGMA cache_size=-512", nullptr, nullptr, nullptr);
    if (!prepareSchema()) return false;
    // A long log is copied into the file and cut to nothing when a search opens the cache,
    // which it does while it walks, rather than after a search has written, where the copy
    // (16 MB: 17 ms) held up the results. Left for the next search if another is reading it.
    if (logIsLong()) {
        sqlite3_wal_checkpoint_v2(db, nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    }
    return true;
}

namespace {

// The format the file says it is in; an SQLite code.
int formatOf(sqlite3* db, int& version) {
    Statement query(db, "PRAGMA user_version");
    const int code = query.statement ? sqlite3_step(query.statement) : sqlite3_errcode(db);
    if (code != SQLITE_ROW) return code;
    version = sqlite3_column_int(query.statement, 0);
    return SQLITE_OK;
}

}  // namespace

bool DigestCache::prepareSchema() {
    sqlite3* db = db_.get();
    const auto fail = [&](int code) {
        giveUp(sqlite3_errmsg(db), code);
        return false;
    };
    const auto newer = [&] {
        // Left as it is for the newer Kelvora that wrote it.
        giveUp("written by a newer Kelvora", SQLITE_OK);
        return false;
    };
    int version = 0;
    if (const int code = formatOf(db, version); code != SQLITE_OK) return fail(code);
    if (version > kFormat) return newer();
    // A file is made, or made again, without a journal and without waiting for the disk: if
    // the system goes down before it is whole, it is found damaged or empty, and either way
    // holds nothing to trust. (The new log and its folder were synced, which made the walk's
    // own changes to the file system wait: a first search of 20,000 files paid 6.3 ms for the
    // cache, 3.4 without.) The searches' writes then go as usual: the log is synced when it
    // is copied into the file.
    const char* const kWrites = "PRAGMA synchronous=NORMAL;";
    std::string modes =
        version == 0 ? std::string("PRAGMA synchronous=OFF;PRAGMA journal_mode=OFF;") + kPageSize
                     : std::string();
    modes += "PRAGMA journal_mode=WAL;";
    modes += version == kFormat ? kWrites : "PRAGMA synchronous=OFF;";
    if (const int code = sqlite3_exec(db, modes.c_str(), nullptr, nullptr, nullptr);
        code != SQLITE_OK) {
        return fail(code);
    }
    if (version == kFormat) return true;
    // The first format kept a row per entry, the second another signature, the third wider
    // entries: what an older format holds is simply learned again. The format is read again
    // inside the transaction: of two searches that start together and both find it old, the
    // second must not drop what the first has just made.
    int code = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (code == SQLITE_OK) code = formatOf(db, version);
    if (code == SQLITE_OK && version < kFormat) {
        const std::string setUp =
            "DROP TABLE IF EXISTS digests;"
            "DROP TABLE IF EXISTS buckets;"
            "DROP TABLE IF EXISTS packs;"
            // A look-up goes through every bucket's row to find those that hold the search's
            // files and to age and count them all. With the entries in the same row, that read
            // the whole file, as SQLite keeps most of a long value in its row's page: beside
            // another tree's cache, the look-up of a first search of 200,000 files took 7.7 ms
            // rather than 6.0, of 20,000 files 0.8 ms rather than 0.5.
            "CREATE TABLE buckets("
            " device INTEGER NOT NULL, bucket INTEGER NOT NULL, count INTEGER NOT NULL,"
            " oldest INTEGER NOT NULL, newest INTEGER NOT NULL, pack INTEGER NOT NULL,"
            " PRIMARY KEY(device, bucket)) WITHOUT ROWID;"
            "CREATE TABLE packs(id INTEGER PRIMARY KEY, packed BLOB NOT NULL);"
            "PRAGMA user_version=" +
            std::to_string(kFormat) + ";";
        code = sqlite3_exec(db, setUp.c_str(), nullptr, nullptr, nullptr);
    }
    if (code == SQLITE_OK && version <= kFormat) {
        code = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
        if (code == SQLITE_OK) code = sqlite3_exec(db, kWrites, nullptr, nullptr, nullptr);
        if (code == SQLITE_OK) return true;
    }
    const std::string message = sqlite3_errmsg(db);
    sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    if (code == SQLITE_OK) return newer();
    giveUp(message, code);
    return false;
}

namespace {

// Where a bucket falls in a filter of bits bits (a power of two): the top bits of a
// multiplicative hash, which spread neighbouring bucket numbers best.
std::uint64_t filterBit(std::uint64_t device, std::uint64_t bucket, int bits) {
    return ((device * 0x9e3779b97f4a7c15ULL) ^ bucket) * 0xbf58476d1ce4e5b9ULL >> (64 - bits);
}

}  // namespace

bool DigestCache::holdsEntries() {
    waitForStore();
    waitForWrites();
    sayHeldLines();
    endReading();
    stale_.clear();
    expired_.clear();
    entries_ = 0;
    if (!db_ && !present()) return false;
    if (!open()) return false;
    sqlite3* db = db_.get();
    // The list of buckets and the entries read after it are one snapshot: a write by another
    // search in between could drop a bucket whose entries the look-up would then find gone.
    if (const int code = sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr); code != SQLITE_OK) {
        giveUp(sqlite3_errmsg(db), code);
        return false;
    }
    reading_ = true;
    Statement scan(db,
                   "SELECT device, bucket, count, oldest, pack FROM buckets "
                   "ORDER BY device, bucket");
    if (scan.statement == nullptr) {
        giveUp(sqlite3_errmsg(db), sqlite3_errcode(db));
        return false;
    }
    int code;
    while ((code = sqlite3_step(scan.statement)) == SQLITE_ROW) {
        sqlite3_stmt* row = scan.statement;
        const Row bucket{static_cast<std::uint64_t>(sqlite3_column_int64(row, 0)),
                         static_cast<std::uint64_t>(sqlite3_column_int64(row, 1)),
                         sqlite3_column_int64(row, 2), sqlite3_column_int64(row, 4)};
        rows_.push_back(bucket);
        entries_ += bucket.count;
        if (sqlite3_column_int64(row, 3) < today_ - kForgetAfterDays) {
            expired_.emplace_back(bucket.device, bucket.bucket);
        }
    }
    if (code != SQLITE_DONE) {
        giveUp(sqlite3_errmsg(db), code);
        return false;
    }
    if (rows_.empty()) {
        endReading();
        return false;
    }
    // Eight bits or more per bucket: one file in eight whose bucket is not there, at most,
    // is looked up for nothing.
    int bits = 10;
    while ((std::size_t{1} << bits) < rows_.size() * 8) ++bits;
    filter_.assign((std::size_t{1} << bits) / 64, 0);
    for (const Row& row : rows_) {
        const std::uint64_t bit = filterBit(row.device, row.bucket, bits);
        filter_[bit / 64] |= std::uint64_t{1} << (bit % 64);
    }
    return true;
}

bool DigestCache::mayHold(const Key& key) const {
    if (filter_.empty()) return true;
    // The filter's size says how many bits it has.
    const int bits = std::countr_zero(filter_.size() * 64);
    const std::uint64_t bit = filterBit(key.device, key.inode >> kBucketShift, bits);
    return (filter_[bit / 64] >> (bit % 64) & 1) != 0;
}

void DigestCache::endReading() {
    if (reading_ && db_) sqlite3_exec(db_.get(), "COMMIT", nullptr, nullptr, nullptr);
    reading_ = false;
    rows_.clear();
    filter_.clear();
}

std::vector<std::optional<DigestCache::Facts>> DigestCache::lookUp(const std::vector<Key>& keys) {
    std::vector<std::optional<Facts>> found(keys.size());
    if (!lookUp(keys, [&found](std::size_t k, const Facts& facts) { found[k] = facts; })) {
        found.assign(keys.size(), std::nullopt);
    }
    return found;
}

bool DigestCache::lookUp(const std::vector<Key>& keys,
                         const std::function<void(std::size_t, const Facts&)>& found) {
    // Asked without holdsEntries first, the look-up reads the list of buckets itself.
    if (!reading_ && (keys.empty() || !holdsEntries())) return true;
    sqlite3* db = db_.get();
    Statement fetch(db, "SELECT packed FROM packs WHERE id = ?");
    if (fetch.statement == nullptr) {
        giveUp(sqlite3_errmsg(db), sqlite3_errcode(db));
        return true;
    }
    const std::vector<Place> order =
        inBucketOrder<Key>({keys}, [](const Key& key) -> const Key& { return key; });
    std::vector<Entry> entries;
    std::size_t next = 0;
    for (const Row& row : rows_) {
        const Bucket bucket{row.device, row.bucket};
        while (next < order.size() && bucketOf(keys[order[next].index]) < bucket) ++next;
        if (next == order.size()) break;
        // A bucket that holds none of the search's files is not even read.
        if (!(bucketOf(keys[order[next].index]) == bucket)) continue;
        sqlite3_reset(fetch.statement);
        sqlite3_bind_int64(fetch.statement, 1, row.pack);
        const int code = sqlite3_step(fetch.statement);
        if (code != SQLITE_ROW && code != SQLITE_DONE) {
            giveUp(sqlite3_errmsg(db), code);
            return false;
        }
        // A bucket without its entries is as damaged as one whose entries make no sense.
        if (code != SQLITE_ROW || !unpackColumn(fetch.statement, 0, bucket, row.count, entries)) {
            giveUp("an entry is not what this Kelvora wrote", SQLITE_CORRUPT);
            return false;
        }
        std::size_t e = 0;
        for (; next < order.size() && bucketOf(keys[order[next].index]) == bucket; ++next) {
            // The keys lie in the order of the files, not of the inodes: asked for ahead, they
            // are at hand when their turn comes (200,000 files: 15.5 to 10.2 ms).
            if (next + 16 < order.size()) __builtin_prefetch(&keys[order[next + 16].index]);
            const Key& key = keys[order[next].index];
            while (e < entries.size() && entries[e].key.inode < key.inode) ++e;
            if (e == entries.size() || entries[e].key != key) continue;
            const Entry& entry = entries[e];
            // One object may be listed twice (a link with its own size beside its target);
            // it is refreshed once.
            if (entry.seen < today_ - kRefreshAfterDays &&
                (stale_.empty() || stale_.back().key != key)) {
                stale_.push_back({key, entry.facts});
            }
            found(order[next].index, entry.facts);
        }
    }
    endReading();
    return true;
}

void DigestCache::storeInBackground(LearnedLists learned) {
    // The writer waits for the opener, not the caller.
    {
        std::lock_guard lock(joining_);
        if (writer_.joinable()) writer_.join();
    }
    Writes& all = writes();
    {
        std::lock_guard lock(all.mutex);
        ++all.pending;
    }
    writer_ = std::jthread([this, &all, learned = std::move(learned)]() mutable {
        waitForOpener();
        {
            std::lock_guard one(all.oneAtATime);
            write(std::move(learned));
        }
        std::lock_guard lock(all.mutex);
        --all.pending;
        all.done.notify_all();
    });
}

void DigestCache::waitForStore() {
    std::lock_guard lock(joining_);
    if (writer_.joinable()) writer_.join();
    waitForOpener();
}

// The one way a write is made, so that every write is counted and held off the others alike.
void DigestCache::store(std::vector<Learned> learned) {
    LearnedLists lists;
    lists.push_back(std::move(learned));
    storeInBackground(std::move(lists));
    waitForStore();
}

void DigestCache::write(LearnedLists lists) {
    sayHeldLines();
    // A look-up that was begun and never finished holds a read transaction open.
    endReading();
    // A file that was not there to be looked up is made now.
    if (!db_ && !open()) return;
    sqlite3* db = db_.get();
    // What was learned now goes before what is only refreshed, and the order below keeps the
    // order of equal keys: of the two, what was learned now stays.
    lists.push_back(std::move(stale_));
    stale_.clear();
    std::vector<std::span<const Learned>> learned(lists.begin(), lists.end());
    // Visited through their places in the order of the buckets rather than moved about by a
    // comparison sort (150,000 things learned: 21 ms, most of it the copies' memory).
    bool ranked = false;
    std::vector<Place> order = inBucketOrder(
        learned, [](const Learned& item) -> const Key& { return item.key; }, &ranked);
    const auto item = [&](const Place& place) -> const Learned& {
        return learned[place.list][place.index];
    };
    // What was learned lies in the order of the files, not of the inodes: the places' own
    // order numbers, when they have them, tell inodes and buckets apart without reaching
    // into it, which waits for memory at nearly every item.
    const auto sameInode = [&](const Place& a, const Place& b) {
        if (ranked) return a.order == b.order;
        const Key& ak = item(a).key;
        const Key& bk = item(b).key;
        return ak.device == bk.device && ak.inode == bk.inode;
    };
    const auto sameBucket = [&](const Place& a, const Place& b) {
        if (ranked) return a.order >> kBucketShift == b.order >> kBucketShift;
        return bucketOf(item(a).key) == bucketOf(item(b).key);
    };
    // A bucket holds one entry per inode: of a link and its target, both learned, one stays.
    order.erase(std::unique(order.begin(), order.end(), sameInode), order.end());
    const auto at = [&](std::size_t l) -> const Learned& { return item(order[l]); };
    if (order.empty() && expired_.empty() && entries_ <= mostEntries_) return;
    sqlite3_busy_timeout(db, 0);
    int code = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if ((code & 0xff) == SQLITE_BUSY || (code & 0xff) == SQLITE_LOCKED) {
        console("Ooops! Something went wrong: \"" + path_ +
                "\": in use by another search; what this search read is not kept");
        return;
    }
    const auto fail = [&](int error, const std::string& what = {}) {
        const std::string message = what.empty() ? sqlite3_errmsg(db) : what;
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        giveUp(message, error);
    };
    if (code != SQLITE_OK) return fail(code);
    Statement read(db,
                   "SELECT b.count, b.pack, p.packed FROM buckets AS b "
                   "LEFT JOIN packs AS p ON p.id = b.pack WHERE b.device = ? AND b.bucket = ?");
    // A new bucket's entries take the next free id: a null id asks for it.
    Statement writePack(db, "INSERT OR REPLACE INTO packs(id, packed) VALUES (?, ?)");
    Statement write(db,
                    "INSERT OR REPLACE INTO buckets(device, bucket, count, oldest, newest, pack) "
                    "VALUES (?, ?, ?, ?, ?, ?)");
    Statement drop(db, "DELETE FROM buckets WHERE device = ? AND bucket = ?");
    Statement dropPack(db, "DELETE FROM packs WHERE id = ?");
    if (!read.statement || !writePack.statement || !write.statement || !drop.statement ||
        !dropPack.statement) {
        return fail(sqlite3_errcode(db));
    }
    const auto bind = [](sqlite3_stmt* statement, const Bucket& bucket) {
        sqlite3_bind_int64(statement, 1, static_cast<std::int64_t>(bucket.device));
        sqlite3_bind_int64(statement, 2, static_cast<std::int64_t>(bucket.number));
    };
    // Each bucket something was learned in, and each that holds an entry past its time, is
    // read again inside the transaction (another search may have written it since the look-up),
    // merged and written whole.
    std::int64_t added = 0;
    std::vector<Entry> existing;
    std::vector<Entry> merged;
    std::vector<unsigned char> bytes;
    std::vector<Bucket> expired;
    for (const auto& [device, number] : expired_) expired.push_back({device, number});
    std::size_t l = 0;
    std::size_t x = 0;
    while (l < order.size() || x < expired.size()) {
        Bucket bucket;
        if (x == expired.size() || (l < order.size() && !(expired[x] < bucketOf(at(l).key)))) {
            bucket = bucketOf(at(l).key);
        } else {
            bucket = expired[x];
        }
        while (x < expired.size() && !(bucket < expired[x])) ++x;
        std::size_t lEnd = l;
        if (l < order.size() && bucketOf(at(l).key) == bucket) {
            ++lEnd;
            while (lEnd < order.size() && sameBucket(order[l], order[lEnd])) ++lEnd;
        }
        bind(read.statement, bucket);
        code = sqlite3_step(read.statement);
        existing.clear();
        std::optional<std::int64_t> packId;  // the row of the bucket's entries, when it has one
        if (code == SQLITE_ROW) {
            packId = sqlite3_column_int64(read.statement, 1);
            // A bucket without its entries reads as a column that is not a blob.
            const bool valid = unpackColumn(read.statement, 2, bucket,
                                            sqlite3_column_int64(read.statement, 0), existing);
            sqlite3_reset(read.statement);
            if (!valid) return fail(SQLITE_CORRUPT, "an entry is not what this Kelvora wrote");
        } else {
            sqlite3_reset(read.statement);
            if (code != SQLITE_DONE) return fail(code);
        }
        merged.clear();
        std::size_t e = 0;
        const auto keep = [&](const Entry& entry) {
            if (entry.seen >= today_ - kForgetAfterDays) merged.push_back(entry);
        };
        for (; l < lEnd; ++l) {
            // Asked for ahead, what was learned is at hand when its turn comes; each lies
            // across two lines.
            if (l + 16 < order.size()) {
                const auto* ahead = reinterpret_cast<const char*>(&at(l + 16));
                __builtin_prefetch(ahead);
                __builtin_prefetch(ahead + sizeof(Learned) - 1);
            }
            const Learned& item = at(l);
            while (e < existing.size() && existing[e].key.inode < item.key.inode) {
                keep(existing[e++]);
            }
            if (e < existing.size() && existing[e].key.inode == item.key.inode) ++e;
            merged.push_back({item.key, item.facts, today_});
        }
        while (e < existing.size()) keep(existing[e++]);
        added +=
            static_cast<std::int64_t>(merged.size()) - static_cast<std::int64_t>(existing.size());
        if (merged.empty()) {
            // Only a bucket that was there can end up empty.
            code = dropBucket(drop.statement, dropPack.statement, bucket, *packId);
            if (code != SQLITE_DONE) return fail(code);
            continue;
        }
        std::int64_t oldest = merged.front().seen;
        std::int64_t newest = oldest;
        for (const Entry& entry : merged) {
            oldest = std::min(oldest, entry.seen);
            newest = std::max(newest, entry.seen);
        }
        packEntries(merged, bytes);
        if (packId) {
            sqlite3_bind_int64(writePack.statement, 1, *packId);
        } else {
            sqlite3_bind_null(writePack.statement, 1);
        }
        sqlite3_bind_blob(writePack.statement, 2, bytes.data(), static_cast<int>(bytes.size()),
                          SQLITE_STATIC);
        if ((code = step(writePack.statement)) != SQLITE_DONE) return fail(code);
        bind(write.statement, bucket);
        sqlite3_bind_int64(write.statement, 3, static_cast<std::int64_t>(merged.size()));
        sqlite3_bind_int64(write.statement, 4, oldest);
        sqlite3_bind_int64(write.statement, 5, newest);
        sqlite3_bind_int64(write.statement, 6, packId ? *packId : sqlite3_last_insert_rowid(db));
        if ((code = step(write.statement)) != SQLITE_DONE) return fail(code);
    }
    // Counted again if it may be over: another search may have written since the look-up.
    if (entries_ + added > mostEntries_) {
        if (const int trimmed = trim(); trimmed != SQLITE_OK) return fail(trimmed);
    }
    code = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) return fail(code);
    expired_.clear();
}

// Over the cap, the buckets whose newest entry was met longest ago go first, whole: what a
// search meets together ages together.
int DigestCache::trim() {
    sqlite3* db = db_.get();
    std::int64_t total = 0;
    std::vector<std::pair<Bucket, std::int64_t>> buckets;  // and the row of their entries
    {
        Statement all(db, "SELECT device, bucket, count, pack FROM buckets ORDER BY newest DESC");
        if (all.statement == nullptr) return sqlite3_errcode(db);
        int code;
        while ((code = sqlite3_step(all.statement)) == SQLITE_ROW) {
            total += sqlite3_column_int64(all.statement, 2);
            if (total > mostEntries_) {
                buckets.push_back(
                    {{static_cast<std::uint64_t>(sqlite3_column_int64(all.statement, 0)),
                      static_cast<std::uint64_t>(sqlite3_column_int64(all.statement, 1))},
                     sqlite3_column_int64(all.statement, 3)});
            }
        }
        if (code != SQLITE_DONE) return code;
    }
    Statement drop(db, "DELETE FROM buckets WHERE device = ? AND bucket = ?");
    Statement dropPack(db, "DELETE FROM packs WHERE id = ?");
    if (drop.statement == nullptr || dropPack.statement == nullptr) return sqlite3_errcode(db);
    for (const auto& [bucket, packId] : buckets) {
        const int code = dropBucket(drop.statement, dropPack.statement, bucket, packId);
        if (code != SQLITE_DONE) return code;
    }
    return SQLITE_OK;
}

}  // namespace kelvora::platform
