// The digest cache in SQLite. Searches read it in one pass before the first file is read
// (a scan of every entry in key order, merged with the search's files sorted the same way,
// beat a temporary table joined with the entries and one query per file), and write it in
// one transaction when the comparison is done. Write-ahead logging lets a search read it
// while another writes; a search that finds it being written keeps nothing rather than wait.
#include "platform/DigestCache.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numeric>
#include <utility>

#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/UserDefaults.h"

namespace kelvora::platform {

namespace {

constexpr int kFormat = 1;
// Rows per insert statement: one statement per row costs half as much again.
constexpr int kRowsPerInsert = 64;
constexpr int kColumns = 8;

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

bool damaged(int code) {
    code &= 0xff;
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

// SQLite compares integers as signed; the keys are sorted the same way.
bool keyBefore(const DigestCache::Key& a, const DigestCache::Key& b) {
    const auto ad = static_cast<std::int64_t>(a.device);
    const auto bd = static_cast<std::int64_t>(b.device);
    if (ad != bd) return ad < bd;
    return static_cast<std::int64_t>(a.inode) < static_cast<std::int64_t>(b.inode);
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

void DigestCache::giveUp(const std::string& what, int code) {
    failed_ = true;
    db_.reset();
    if (damaged(code)) {
        setAside();
        return;
    }
    console("Ooops! Something went wrong: \"" + path_ + "\": " + what +
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
    console(line + "; the digest cache is not used");
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
    // Two searches that start together may both set the file up; the second waits briefly.
    sqlite3_busy_timeout(db, 250);
    return prepareSchema();
}

bool DigestCache::prepareSchema() {
    sqlite3* db = db_.get();
    int version = 0;
    {
        Statement query(db, "PRAGMA user_version");
        const int code = query.statement ? sqlite3_step(query.statement) : sqlite3_errcode(db);
        if (code != SQLITE_ROW) {
            giveUp(sqlite3_errmsg(db), code);
            return false;
        }
        version = sqlite3_column_int(query.statement, 0);
    }
    if (version > kFormat) {
        // Left as it is for the newer Kelvora that wrote it.
        giveUp("written by a newer Kelvora", SQLITE_OK);
        return false;
    }
    const char* setUp =
        "PRAGMA journal_mode=WAL;"
        "PRAGMA synchronous=NORMAL;"
        "CREATE TABLE IF NOT EXISTS digests("
        " device INTEGER NOT NULL, inode INTEGER NOT NULL, size INTEGER NOT NULL,"
        " modified INTEGER NOT NULL, changed INTEGER NOT NULL, signature INTEGER NOT NULL,"
        " md5 BLOB, seen INTEGER NOT NULL, PRIMARY KEY(device, inode)) WITHOUT ROWID;"
        "PRAGMA user_version=1;";
    const char* check = version == 0 ? setUp : "PRAGMA journal_mode=WAL;PRAGMA synchronous=NORMAL;";
    const int code = sqlite3_exec(db, check, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        giveUp(sqlite3_errmsg(db), code);
        return false;
    }
    return true;
}

std::vector<std::optional<DigestCache::Facts>> DigestCache::lookUp(const std::vector<Key>& keys) {
    std::vector<std::optional<Facts>> found(keys.size());
    stale_.clear();
    anyExpired_ = false;
    entries_ = 0;
    if (keys.empty() || !open()) return found;
    std::vector<std::uint32_t> order(keys.size());
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [&](std::uint32_t a, std::uint32_t b) { return keyBefore(keys[a], keys[b]); });
    sqlite3* db = db_.get();
    Statement scan(db,
                   "SELECT device, inode, size, modified, changed, signature, md5, seen "
                   "FROM digests ORDER BY device, inode");
    if (scan.statement == nullptr) {
        giveUp(sqlite3_errmsg(db), sqlite3_errcode(db));
        return found;
    }
    std::vector<std::optional<Facts>> none(keys.size());
    std::size_t next = 0;
    int code;
    while ((code = sqlite3_step(scan.statement)) == SQLITE_ROW) {
        sqlite3_stmt* row = scan.statement;
        ++entries_;
        const std::int64_t seen = sqlite3_column_int64(row, 7);
        if (seen < today_ - kForgetAfterDays) anyExpired_ = true;
        const int md5Type = sqlite3_column_type(row, 6);
        if (md5Type != SQLITE_NULL &&
            (md5Type != SQLITE_BLOB || sqlite3_column_bytes(row, 6) != 16)) {
            giveUp("an entry is not what this Kelvora wrote", SQLITE_CORRUPT);
            return none;
        }
        Key key;
        key.device = static_cast<std::uint64_t>(sqlite3_column_int64(row, 0));
        key.inode = static_cast<std::uint64_t>(sqlite3_column_int64(row, 1));
        while (next < order.size() && keyBefore(keys[order[next]], key)) ++next;
        key.size = static_cast<std::uint64_t>(sqlite3_column_int64(row, 2));
        key.modified = sqlite3_column_int64(row, 3);
        key.changed = sqlite3_column_int64(row, 4);
        // One object may be listed twice (a link with its own size beside its target).
        for (std::size_t k = next; k < order.size() && !keyBefore(key, keys[order[k]]); ++k) {
            if (keys[order[k]] != key) continue;
            Facts facts;
            facts.signature = static_cast<std::uint64_t>(sqlite3_column_int64(row, 5));
            if (md5Type == SQLITE_BLOB) {
                facts.hasMd5 = true;
                std::memcpy(facts.md5.data(), sqlite3_column_blob(row, 6), 16);
            }
            if (!found[order[k]] && seen < today_ - kRefreshAfterDays) {
                stale_.push_back({key, facts});
            }
            found[order[k]] = facts;
        }
    }
    if (code != SQLITE_DONE) {
        giveUp(sqlite3_errmsg(db), code);
        return none;
    }
    return found;
}

void DigestCache::store(std::vector<Learned> learned) {
    if (!db_) return;
    sqlite3* db = db_.get();
    const std::size_t fresh = learned.size();
    // Written in key order, which keeps the table's pages together. A refreshed entry goes
    // only where nothing was learned of its key now, which wins; sorted in place, without
    // the buffer of a stable sort (the same key learned twice holds the same facts).
    const auto before = [](const Learned& a, const Learned& b) { return keyBefore(a.key, b.key); };
    std::sort(learned.begin(), learned.end(), before);
    for (const Learned& refreshed : stale_) {
        if (!std::binary_search(learned.begin(),
                                learned.begin() + static_cast<std::ptrdiff_t>(fresh), refreshed,
                                before)) {
            learned.push_back(refreshed);
        }
    }
    stale_.clear();
    const bool overfull = entries_ + static_cast<std::int64_t>(fresh) > kMostEntries;
    if (learned.empty() && !anyExpired_ && !overfull) return;
    sqlite3_busy_timeout(db, 0);
    int code = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if ((code & 0xff) == SQLITE_BUSY || (code & 0xff) == SQLITE_LOCKED) {
        console("Ooops! Something went wrong: \"" + path_ +
                "\": in use by another search; what this search read is not kept");
        return;
    }
    const auto fail = [&](int error) {
        const std::string message = sqlite3_errmsg(db);
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        giveUp(message, error);
    };
    if (code != SQLITE_OK) return fail(code);
    const auto insertSql = [](std::size_t rows) {
        std::string sql = "INSERT OR REPLACE INTO digests VALUES ";
        for (std::size_t r = 0; r < rows; ++r)
            sql += r == 0 ? "(?,?,?,?,?,?,?,?)" : ",(?,?,?,?,?,?,?,?)";
        return sql;
    };
    Statement many(db, insertSql(kRowsPerInsert));
    Statement one(db, insertSql(1));
    if (many.statement == nullptr || one.statement == nullptr) return fail(sqlite3_errcode(db));
    for (std::size_t at = 0; at < learned.size();) {
        const bool batch = learned.size() - at >= kRowsPerInsert;
        sqlite3_stmt* insert = batch ? many.statement : one.statement;
        const std::size_t rows = batch ? kRowsPerInsert : 1;
        for (std::size_t r = 0; r < rows; ++r) {
            const Learned& entry = learned[at + r];
            const int first = static_cast<int>(r) * kColumns;
            sqlite3_bind_int64(insert, first + 1, static_cast<std::int64_t>(entry.key.device));
            sqlite3_bind_int64(insert, first + 2, static_cast<std::int64_t>(entry.key.inode));
            sqlite3_bind_int64(insert, first + 3, static_cast<std::int64_t>(entry.key.size));
            sqlite3_bind_int64(insert, first + 4, entry.key.modified);
            sqlite3_bind_int64(insert, first + 5, entry.key.changed);
            sqlite3_bind_int64(insert, first + 6, static_cast<std::int64_t>(entry.facts.signature));
            if (entry.facts.hasMd5) {
                sqlite3_bind_blob(insert, first + 7, entry.facts.md5.data(), 16, SQLITE_STATIC);
            } else {
                sqlite3_bind_null(insert, first + 7);
            }
            sqlite3_bind_int64(insert, first + 8, today_);
        }
        code = sqlite3_step(insert);
        sqlite3_reset(insert);
        if (code != SQLITE_DONE) return fail(code);
        at += rows;
    }
    if (anyExpired_) {
        Statement forget(db, "DELETE FROM digests WHERE seen < ?");
        if (forget.statement == nullptr) return fail(sqlite3_errcode(db));
        sqlite3_bind_int64(forget.statement, 1, today_ - kForgetAfterDays);
        if ((code = sqlite3_step(forget.statement)) != SQLITE_DONE) return fail(code);
    }
    if (overfull) {
        // The entries least recently met go first.
        Statement trim(db,
                       "DELETE FROM digests WHERE (device, inode) IN (SELECT device, inode FROM "
                       "digests ORDER BY seen LIMIT max(0, (SELECT count(*) FROM digests) - ?))");
        if (trim.statement == nullptr) return fail(sqlite3_errcode(db));
        sqlite3_bind_int64(trim.statement, 1, kMostEntries);
        if ((code = sqlite3_step(trim.statement)) != SQLITE_DONE) return fail(code);
    }
    code = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) return fail(code);
    anyExpired_ = false;
}

}  // namespace kelvora::platform
