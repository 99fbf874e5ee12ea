// Databases of the person's own, each a file of SQLite.
#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/base/status.hpp"

struct sqlite3;
struct sqlite3_stmt;

namespace quillon {

// The file is no database, or a part of it is not what it was.
class DamagedDatabase : public vxhost::Failure {
    using Failure::Failure;
};

// Renames a damaged database, with what belongs to it, so that a new one can be made and nothing is
// deleted. Returns its new path; nothing where it is whole, or not there: another process may have
// done this. Throws a Failure.
std::optional<std::filesystem::path> setAsideDamaged(const std::filesystem::path& path);

// For one thread at a time; processes wait for one another. Everything here throws a Failure that
// names the file.
class Database {
public:
    enum class Missing : bool { left, made };
    // With mode 0600, in directories of the person's own, which are made, too. Nothing when there
    // is none and none is to be made. what: it holds, at the begin of a sentence.
    static std::optional<Database> open(std::filesystem::path path, std::string what,
                                        Missing missing);

    // One on a disk that is full or cannot be written, for who only looks; nothing where it is on
    // another, or somebody may be at work on it. why: it cannot be written, in a sentence.
    static std::optional<Database> openUnwritable(std::filesystem::path path, std::string what,
                                                  std::string why);

    // Statements that lead from each version of the tables to the next; the first makes those of a
    // new one. One that a later quillon wrote is refused.
    void prepareTables(std::span<const char* const> steps) const;
    // What is in its log goes into it at the end only if that was more than so much when it was
    // opened, in bytes. Who opens it next does not know how much of a log that stays is in it
    // already, so that nothing else ends its growth.
    void leaveLogOnClose(uintmax_t most) const;
    void execute(const char* text) const;
    int64_t lastRow() const;  // that was inserted

private:
    friend class Statement;
    friend class Transaction;
    struct Closer {
        void operator()(sqlite3* database) const;
    };
    Database(std::filesystem::path path, std::string what)
        : path_(std::move(path)), what_(std::move(what)) {}
    void connect(const std::string& name, int flags);
    void check(int result) const;
    bool lacksRoom(int kind) const;

    std::filesystem::path path_;
    std::string what_, unwritable_;
    std::unique_ptr<sqlite3, Closer> connection_;
};

// Stays with a database that stays where it is.
class Statement {
public:
    Statement(const Database& database, const char* text);
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    // Bytes, integers and optional integers, in their order. The bytes stay the caller's, and as
    // they are, until the next reset.
    template <class... Values>
    Statement& bind(const Values&... values) {
        int at = 0;
        (bindOne(++at, values), ...);
        return *this;
    }
    bool step();  // whether there is a row
    template <class... Values>
    void run(const Values&... values) {
        bind(values...);
        step();
        reset();
    }

    // Of the row; columns count from 0.
    std::string bytes(int column) const;
    template <std::integral Number = int64_t>
    Number number(int column) const {
        return static_cast<Number>(integer(column));
    }
    template <std::integral Number = int64_t>
    std::optional<Number> optionalNumber(int column) const {
        if (isNull(column)) return std::nullopt;
        return number<Number>(column);
    }

private:
    void bindOne(int at, std::string_view bytes);
    void bindInteger(int at, int64_t number);
    void bindNull(int at);
    template <std::integral Number>
    void bindOne(int at, Number number) {
        bindInteger(at, static_cast<int64_t>(number));
    }
    template <std::integral Number>
    void bindOne(int at, const std::optional<Number>& number) {
        if (number) {
            bindOne(at, *number);
        } else {
            bindNull(at);
        }
    }
    void reset();
    int64_t integer(int column) const;
    bool isNull(int column) const;

    const Database& database_;
    sqlite3_stmt* statement_ = nullptr;
};

// Ended by commit(), or taken back.
class Transaction {
public:
    explicit Transaction(const Database& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void commit();

private:
    const Database& database_;
    bool isOpen_ = true;
};

}  // namespace quillon
