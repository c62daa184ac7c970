/*
 * A little of SQLite in C++: statements that free themselves and throw SqlError.
 *
 * Threads: one, as the connection.
 */
#ifndef MORTOX_MORTOXD_SQL_H
#define MORTOX_MORTOXD_SQL_H

#include <initializer_list>
#include <sqlite3.h>
#include <stdexcept>
#include <string>

/* What SQLite says, with the system's reason where there is one: "disk I/O error (File too large)". */
class SqlError : public std::runtime_error {
  public:
    SqlError(sqlite3 *connection, int code);
    int code() const { return code_; } // SQLITE_..., the primary one

  private:
    int code_;
};

/* A statement that is run again and again: compiled once, which costs more than most of them do. Ends before
 * the connection. */
class Prepared {
  public:
    Prepared(sqlite3 *connection, const char *sql);
    ~Prepared() { sqlite3_finalize(statement_); }
    Prepared(const Prepared &) = delete;
    Prepared &operator=(const Prepared &) = delete;

  private:
    friend class Statement;
    sqlite3 *connection_;
    sqlite3_stmt *statement_ = nullptr;
};

/* One run of a statement. What it has begun, such as a read that keeps the log from being written back, ends
 * with the object. */
class Statement {
  public:
    /* `texts` are bound to ?1, ?2 ... and may hold any bytes but zero. */
    Statement(sqlite3 *connection, const char *sql, std::initializer_list<std::string> texts = {});
    /* One run at a time. */
    explicit Statement(Prepared &prepared, std::initializer_list<std::string> texts = {});
    ~Statement();
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    /* True when there is a row; false at the end. */
    bool step();

    /* Of the present row, from 0. */
    std::string text(int column) const;
    long number(int column) const;

  private:
    int bind(std::initializer_list<std::string> texts);

    sqlite3 *connection_;
    sqlite3_stmt *statement_ = nullptr;
    bool kept_; // by a Prepared
};

/* Runs a statement to its end. */
void execute(sqlite3 *connection, const char *sql);
void execute(Prepared &prepared, std::initializer_list<std::string> texts);

/* The first column of the first row of a statement that has one. */
std::string query_text(sqlite3 *connection, const char *sql);
long query_number(sqlite3 *connection, const char *sql);

#endif
