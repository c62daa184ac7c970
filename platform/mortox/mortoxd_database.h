/*
 * One namespace: an SQLite database, in a file or in memory.
 *
 * A file is written ahead (journal mode WAL) with synchronous=FULL: a write has been synced to the disk, by
 * one fdatasync, when set() or remove() returns. A rollback journal would take three or four syncs for the
 * same promise, and every sync holds up all clients. Writing the log back into the file takes some more, so
 * whoever owns the database says when (write_back). The file is locked exclusively, so no second server can
 * use it and no shared memory file appears beside it. docs/formats/settings-store.md has the layout.
 *
 * A file that cannot be read is never replaced: opening fails and leaves it as it is. A setting in it that
 * the protocol cannot carry, since another program has written what mortoxd would have refused, is kept: it
 * cannot be read before it is set anew, and everything else is served.
 *
 * Threads: one. Failures after opening throw DatabaseError, whose text goes to the client and to the log; the
 * stored values are as before then.
 */
#ifndef MORTOX_MORTOXD_DATABASE_H
#define MORTOX_MORTOXD_DATABASE_H

#include "mortox/mortoxd_sql.h"

#include <functional>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

class DatabaseError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Setting {
    std::string section;
    std::string key;
    std::string value;
};

/* A place in a list, which begins before the first setting. */
struct Cursor {
    std::string only_section; // empty: all
    std::string section;
    std::string key;
    std::string left_out; // a sentence about the first setting on the way that cannot be served, or empty
};

class Database {
  public:
    /* Opens `path`, and makes it, readable by this user alone, when it does not exist. Throws StartError. */
    static Database open_file(const std::string &name_space, const std::string &path);
    static Database open_memory(const std::string &name_space);

    /* Nothing when the key was never set. DatabaseError, too, when the protocol cannot carry the value. */
    std::optional<std::string> get(const std::string &section, const std::string &key);

    /* A value that is stored already costs no write. */
    void set(const std::string &section, const std::string &key, const std::string &value);

    /* Also when there is nothing to remove. */
    void remove(const std::string &section, const std::string &key);

    /*
     * Visits up to `items` settings that come after the cursor, in the order of section and key as bytes, and
     * moves the cursor behind them. What the protocol cannot carry is not visited but noted in the cursor.
     * Result: true when there may be more. Writes between two pieces are seen or not, as they fall behind the
     * cursor or before it.
     */
    using Visit = std::function<void(const Setting &setting)>;
    bool list(Cursor &cursor, int items, const Visit &visit);

    bool persistent() const { return persistent_; }

    /* What the log is laid out for. It can get longer, but then each write takes the file system more time.
     */
    static constexpr int log_pages_max = 512;

    /* How many pages the log has that the file has not; 0 in memory. */
    int log_pages() const { return *log_pages_; }

    /* Writes the log back into the file, so that it is used again from its beginning, and does not grow.
     * Keeps everybody waiting for two or three syncs. Nothing is lost when it cannot be done. */
    void write_back();

  private:
    struct Closer {
        void operator()(sqlite3 *connection) const { sqlite3_close(connection); }
    };

    Database(const std::string &name_space, const std::string &path);
    void check_size(const std::string &path);
    void check_contents(const std::string &path);
    void report_unservable();
    void prepare();
    void lay_out_log();
    void write(Prepared &prepared, std::initializer_list<std::string> texts);

    std::string name_space_;
    bool persistent_;
    std::unique_ptr<int> log_pages_ = std::make_unique<int>(0); // SQLite knows its address
    std::unique_ptr<sqlite3, Closer> connection_;
    std::unique_ptr<Prepared> get_; // behind the connection: they end before it
    std::unique_ptr<Prepared> set_;
    std::unique_ptr<Prepared> remove_;
};

#endif
