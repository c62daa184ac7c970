#include "mortox/mortoxd_sql.h"

#include <cerrno>
#include <cstring>

namespace {

// errno holds the reason here: sqlite3_system_errno() has lost it when a failed write has been rolled back.
std::string sentence(sqlite3 *connection, int code) {
    const int system_error = errno;
    std::string result = connection == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(connection);
    if ((code & 0xff) == SQLITE_IOERR && system_error != 0) {
        result += std::string(" (") + strerror(system_error) + ")";
    }
    return result;
}

} // namespace

SqlError::SqlError(sqlite3 *connection, int code)
    : std::runtime_error(sentence(connection, code)), code_(code & 0xff) {}

Prepared::Prepared(sqlite3 *connection, const char *sql) : connection_(connection) {
    errno = 0;
    const int result =
        sqlite3_prepare_v3(connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
    if (result != SQLITE_OK) {
        throw SqlError(connection, result);
    }
}

Statement::Statement(sqlite3 *connection, const char *sql, std::initializer_list<std::string> texts)
    : connection_(connection), kept_(false) {
    errno = 0;
    int result = sqlite3_prepare_v2(connection, sql, -1, &statement_, nullptr);
    if (result == SQLITE_OK) {
        result = bind(texts);
    }
    if (result != SQLITE_OK) {
        const SqlError error(connection, result);
        sqlite3_finalize(statement_);
        throw error;
    }
}

Statement::Statement(Prepared &prepared, std::initializer_list<std::string> texts)
    : connection_(prepared.connection_), statement_(prepared.statement_), kept_(true) {
    errno = 0;
    const int result = bind(texts);
    if (result != SQLITE_OK) {
        throw SqlError(connection_, result);
    }
}

Statement::~Statement() {
    if (kept_) {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    } else {
        sqlite3_finalize(statement_);
    }
}

int Statement::bind(std::initializer_list<std::string> texts) {
    int index = 0;
    int result = SQLITE_OK;
    for (const std::string &text : texts) {
        if (result == SQLITE_OK) {
            result = sqlite3_bind_text(statement_, ++index, text.data(), static_cast<int>(text.size()),
                                       SQLITE_TRANSIENT);
        }
    }
    return result;
}

bool Statement::step() {
    errno = 0;
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        throw SqlError(connection_, result);
    }
    return result == SQLITE_ROW;
}

std::string Statement::text(int column) const {
    const auto *bytes = static_cast<const char *>(sqlite3_column_blob(statement_, column));
    const int count = sqlite3_column_bytes(statement_, column);
    return bytes == nullptr ? std::string() : std::string(bytes, static_cast<size_t>(count));
}

long Statement::number(int column) const {
    return static_cast<long>(sqlite3_column_int64(statement_, column));
}

void execute(sqlite3 *connection, const char *sql) {
    Statement statement(connection, sql);
    while (statement.step()) {
    }
}

void execute(Prepared &prepared, std::initializer_list<std::string> texts) {
    Statement statement(prepared, texts);
    while (statement.step()) {
    }
}

std::string query_text(sqlite3 *connection, const char *sql) {
    Statement statement(connection, sql);
    statement.step();
    return statement.text(0);
}

long query_number(sqlite3 *connection, const char *sql) {
    Statement statement(connection, sql);
    statement.step();
    return statement.number(0);
}
