// Opening a file is the delicate part. SQLite takes a file of zero bytes for a new database, and then even
// throws a write-ahead log beside it away; so a new database is made complete under another name and renamed,
// and an empty file is damage. Checkpointing at close is off until the contents are found good: what cannot
// be read is left byte for byte as it was found.

#include "mortox/mortoxd_database.h"

#include "mortox/mortoxd_report.h"
#include "mortox/wire.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr long application_id = 0x4d525458; // "MRTX"
constexpr long layout_version = 1;

const char *const advice =
    ". Nothing was changed. Restore the file from a copy, or move it (and what stands beside it as FILE-wal) "
    "away to begin with an empty store";

[[noreturn]] void unusable(const std::string &name_space, const std::string &path, const std::string &why) {
    throw StartError(ExitCode::no_database, name_space + ": cannot use " + path + ": " + why);
}

bool exists(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

// The directory of a file, open and locked against another server that makes the same file.
class LockedDirectory {
  public:
    explicit LockedDirectory(const std::string &file) {
        const size_t slash = file.rfind('/');
        const std::string path = slash == std::string::npos ? "." : file.substr(0, slash + 1);
        fd_ = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd_ < 0 || flock(fd_, LOCK_EX) != 0) {
            const int error = errno;
            close(fd_);
            throw std::runtime_error("its directory cannot be opened: " + std::string(strerror(error)));
        }
        if (access(path.c_str(), W_OK) != 0) { // also a file that exists needs it, for its log
            close(fd_);
            throw std::runtime_error("its directory cannot be written by this user");
        }
    }
    ~LockedDirectory() { close(fd_); }
    LockedDirectory(const LockedDirectory &) = delete;
    LockedDirectory &operator=(const LockedDirectory &) = delete;

    void sync() const {
        if (fsync(fd_) != 0) {
            throw std::runtime_error("its directory cannot be synced: " + std::string(strerror(errno)));
        }
    }

  private:
    int fd_ = -1;
};

void make_tables(sqlite3 *connection) {
    execute(connection, "CREATE TABLE setting ("
                        " section TEXT NOT NULL,"
                        " key TEXT NOT NULL,"
                        " value TEXT NOT NULL,"
                        " PRIMARY KEY (section, key)"
                        ") STRICT, WITHOUT ROWID");
    execute(connection, ("PRAGMA application_id = " + std::to_string(application_id)).c_str());
    execute(connection, ("PRAGMA user_version = " + std::to_string(layout_version)).c_str());
}

// 16 MiB of settings are a mistake, not settings: a client in a loop shall not fill the disk or the memory.
void limit_size(sqlite3 *connection) {
    execute(connection, "PRAGMA max_page_count = 4096");
}

/* After a write. Also keeps SQLite from writing the log back of its own accord, in the middle of one. */
int note_log_pages(void *log_pages, sqlite3 * /*connection*/, const char * /*database*/, int pages) {
    *static_cast<int *>(log_pages) = pages;
    return SQLITE_OK;
}

void make_complete_file(const std::string &path) {
    sqlite3 *connection = nullptr;
    const int result =
        sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    const std::unique_ptr<sqlite3, int (*)(sqlite3 *)> owner(connection, sqlite3_close);
    if (result != SQLITE_OK) {
        throw SqlError(connection, result);
    }
    execute(connection, "PRAGMA synchronous = EXTRA");
    execute(connection, "BEGIN");
    make_tables(connection);
    execute(connection, "COMMIT");
}

void make_file(const std::string &path) {
    const std::string unfinished = path + ".new";
    unlink(unfinished.c_str());
    unlink((unfinished + "-journal").c_str());
    make_complete_file(unfinished);
    if (rename(unfinished.c_str(), path.c_str()) != 0) {
        throw std::runtime_error("it cannot be named: " + std::string(strerror(errno)));
    }
}

void make_file_if_missing(const std::string &name_space, const std::string &path) {
    try {
        const LockedDirectory directory(path);
        if (exists(path)) {
            return;
        }
        if (exists(path + "-wal")) {
            throw std::runtime_error("it is gone, but its write-ahead log " + path +
                                     "-wal is there: put it back, or remove that file to begin with an empty "
                                     "store");
        }
        make_file(path);
        directory.sync();
        report(name_space + ": made " + path + ", which did not exist");
    } catch (const std::runtime_error &error) {
        unusable(name_space, path, error.what());
    }
}

void check_file(const std::string &name_space, const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        unusable(name_space, path, strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        unusable(name_space, path, "it is no file");
    }
    if (access(path.c_str(), R_OK | W_OK) != 0) {
        unusable(name_space, path, "this user may not read and write it");
    }
    if (status.st_size == 0) {
        unusable(name_space, path, std::string("it is damaged (empty)") + advice);
    }
}

// ---- settings that another program has written ----

bool check_text(const char *what, const std::string &text, char *error, size_t error_bytes) {
    if (text.find('\0') != std::string::npos) {
        snprintf(error, error_bytes, "%s has a zero byte", what);
        return false;
    }
    return true;
}

// A name as a sentence can have it, whatever it is.
std::string printable(const std::string &name) {
    std::string result = name.substr(0, wire::name_max_bytes);
    std::replace_if(
        result.begin(), result.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return result + (name.size() > wire::name_max_bytes ? "..." : "");
}

// Why the protocol cannot carry the setting: a sentence; empty when it can.
std::string objection(const std::string &name_space, const Setting &setting) {
    char error[200];
    const char *remedy = nullptr;
    if (!check_text("the section", setting.section, error, sizeof error) ||
        !check_text("the key", setting.key, error, sizeof error) ||
        !wire::check_name("the section", setting.section.c_str(), error, sizeof error) ||
        !wire::check_name("the key", setting.key.c_str(), error, sizeof error)) {
        remedy = "; end mortoxd and mend it with the sqlite3 program";
    } else if (!check_text("the value", setting.value, error, sizeof error) ||
               !wire::check_value(setting.value.c_str(), error, sizeof error)) {
        remedy = "; set it anew or remove it";
    } else {
        return "";
    }
    return name_space + " " + printable(setting.section) + " " + printable(setting.key) +
           " cannot be served: " + error + ". Another program wrote it" + remedy;
}

} // namespace

Database::Database(const std::string &name_space, const std::string &path)
    : name_space_(name_space), persistent_(!path.empty()) {
    sqlite3 *connection = nullptr;
    const int result =
        sqlite3_open_v2(persistent_ ? path.c_str() : ":memory:", &connection, SQLITE_OPEN_READWRITE, nullptr);
    connection_.reset(connection);
    if (result != SQLITE_OK) {
        throw SqlError(connection, result);
    }
}

// SQLite reads a last page that is cut off as if it ended in zeros. While there is a log, that page may be
// one that a power cut has interrupted and the log has whole.
void Database::check_size(const std::string &path) {
    struct stat file {};
    struct stat log {};
    const bool has_log = stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
    if (!has_log && stat(path.c_str(), &file) == 0 &&
        file.st_size % query_number(connection_.get(), "PRAGMA page_size") != 0) {
        unusable(name_space_, path, std::string("it is damaged (cut off)") + advice);
    }
}

void Database::check_contents(const std::string &path) {
    sqlite3 *connection = connection_.get();
    const long version = query_number(connection, "PRAGMA user_version"); // fails on what is no database
    check_size(path);
    if (query_number(connection, "PRAGMA application_id") != application_id) {
        unusable(name_space_, path, "it is a database of something else: give another FILE");
    }
    if (version != layout_version) {
        unusable(name_space_, path,
                 "it has layout " + std::to_string(version) + ", and this mortoxd knows only " +
                     std::to_string(layout_version) + ": use the mortoxd that made it");
    }
    const std::string found = query_text(connection, "PRAGMA integrity_check(1)");
    if (found != "ok") {
        unusable(name_space_, path, "it is damaged (" + found + ")" + advice);
    }
    report(name_space_ + ": " + query_text(connection, "SELECT count(*) FROM setting") + " values in " +
           path);
    report_unservable();
}

void Database::report_unservable() {
    constexpr int named = 5;
    int count = 0;
    Statement statement(connection_.get(), "SELECT section, key, value FROM setting ORDER BY section, key");
    while (statement.step()) {
        const std::string why =
            objection(name_space_, {statement.text(0), statement.text(1), statement.text(2)});
        if (!why.empty() && ++count <= named) {
            report(why);
        }
    }
    if (count > named) {
        report(name_space_ + ": " + std::to_string(count) + " values cannot be served, of which " +
               std::to_string(named) + " are named above");
    }
}

Database Database::open_file(const std::string &name_space, const std::string &path) {
    make_file_if_missing(name_space, path);
    check_file(name_space, path);
    try {
        Database database(name_space, path);
        sqlite3 *connection = database.connection_.get();
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        execute(connection, "PRAGMA locking_mode = EXCLUSIVE"); // before the first access: no shared memory
        database.check_contents(path);
        if (query_text(connection, "PRAGMA journal_mode = WAL") != "wal") {
            unusable(name_space, path, "it cannot be written: check its permissions and the file system");
        }
        execute(connection, "PRAGMA synchronous = FULL");
        sqlite3_wal_hook(connection, note_log_pages, database.log_pages_.get());
        limit_size(connection);
        database.lay_out_log();
        database.prepare();
        sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
        return database;
    } catch (const SqlError &error) {
        if (error.code() == SQLITE_BUSY) {
            unusable(name_space, path, "another process uses it: end that one first");
        }
        if (error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB) {
            unusable(name_space, path, std::string("it is damaged (") + error.what() + ")" + advice);
        }
        unusable(name_space, path, error.what());
    }
}

// A write into blocks that the log has already is synced in some half of the time: the file system's own
// journal has no part in it. The zeros behind the log's end are none of its pages, as SQLite sees it. When
// there is no room for them the log grows as it is needed.
void Database::lay_out_log() {
    constexpr sqlite3_int64 log_bytes = sqlite3_int64{log_pages_max + 16} * (4096 + 24);
    sqlite3_file *log = nullptr;
    if (sqlite3_file_control(connection_.get(), nullptr, SQLITE_FCNTL_JOURNAL_POINTER, &log) != SQLITE_OK ||
        log == nullptr || log->pMethods == nullptr) {
        return;
    }
    const std::vector<char> zeros(65536);
    const auto step = static_cast<sqlite3_int64>(zeros.size());
    sqlite3_int64 size = 0;
    int result = log->pMethods->xFileSize(log, &size);
    for (; result == SQLITE_OK && size < log_bytes; size += step) {
        result = log->pMethods->xWrite(log, zeros.data(), static_cast<int>(step), size);
    }
    log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
}

Database Database::open_memory(const std::string &name_space) {
    Database database(name_space, "");
    make_tables(database.connection_.get());
    limit_size(database.connection_.get());
    database.prepare();
    return database;
}

void Database::prepare() {
    sqlite3 *connection = connection_.get();
    get_ =
        std::make_unique<Prepared>(connection, "SELECT value FROM setting WHERE section = ?1 AND key = ?2");
    set_ = std::make_unique<Prepared>(
        connection,
        "INSERT INTO setting (section, key, value) VALUES (?1, ?2, ?3)"
        " ON CONFLICT (section, key) DO UPDATE SET value = excluded.value WHERE value <> excluded.value");
    remove_ = std::make_unique<Prepared>(connection, "DELETE FROM setting WHERE section = ?1 AND key = ?2");
}

std::optional<std::string> Database::get(const std::string &section, const std::string &key) {
    Setting setting = {section, key, ""};
    try {
        Statement statement(*get_, {section, key});
        if (!statement.step()) {
            return std::nullopt;
        }
        setting.value = statement.text(0);
    } catch (const SqlError &error) {
        throw DatabaseError("cannot read " + name_space_ + ": " + error.what());
    }
    const std::string why = objection(name_space_, setting);
    if (!why.empty()) {
        throw DatabaseError(why);
    }
    return std::move(setting.value);
}

void Database::write(Prepared &prepared, std::initializer_list<std::string> texts) {
    try {
        execute(prepared, texts);
    } catch (const SqlError &error) {
        throw DatabaseError("cannot write " + name_space_ + ", the old value stays: " + error.what());
    }
}

void Database::set(const std::string &section, const std::string &key, const std::string &value) {
    write(*set_, {section, key, value});
}

void Database::remove(const std::string &section, const std::string &key) {
    write(*remove_, {section, key});
}

void Database::write_back() {
    sqlite3 *connection = connection_.get();
    if (sqlite3_wal_checkpoint_v2(connection, nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr) ==
        SQLITE_OK) {
        *log_pages_ = 0;
    }
}

bool Database::list(Cursor &cursor, int items, const Visit &visit) {
    try {
        Statement statement(connection_.get(),
                            "SELECT section, key, value FROM setting"
                            " WHERE (section, key) > (?2, ?3) AND (?1 = '' OR section = ?1)"
                            " ORDER BY section, key",
                            {cursor.only_section, cursor.section, cursor.key});
        int visited = 0;
        while (visited < items && statement.step()) {
            const Setting setting = {statement.text(0), statement.text(1), statement.text(2)};
            const std::string why = objection(name_space_, setting);
            if (why.empty()) {
                visit(setting);
            } else if (cursor.left_out.empty()) {
                cursor.left_out = why;
            }
            cursor.section = setting.section;
            cursor.key = setting.key;
            ++visited;
        }
        return visited == items;
    } catch (const SqlError &error) {
        throw DatabaseError("cannot read " + name_space_ + ": " + error.what());
    }
}
