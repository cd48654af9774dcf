#ifndef QD_SQORVEL_CONNECTION_H
#define QD_SQORVEL_CONNECTION_H

#include <string>
#include <vector>

#include "QD_OrvelConfig.h"
#include "QD_OrvelConnection.h"

struct sqlite3;
struct sqlite3_stmt;
class QD_SQOrvelQuery;
namespace orvel {
class SqliteStatement;
}

/// A connection to one SQLite database file; see QD_OrvelConnection for what every connection promises.
///
/// The logical database `name` in directory `path` is the file `path`, a separator, `name`, ".db3"; no
/// directory is the current one. Opening creates the file when it is missing. New databases store text as
/// UTF-8; existing ones keep their encoding and can be read whatever it is. Where the narrow encoding is not UTF-8, a
/// directory or name that is not valid in it cannot be opened (4, "Runtime Exception").
///
/// Commands and queries hold a reference to their connection, so it lives at least as long as they do.
/// Closing it while some of them are alive leaves them working, until the schema changes; the file is let go
/// with the last of them.
class QD_ORVEL_EXPORT QD_SQOrvelConnection : public QD_OrvelConnection {
public:
    /// A new connection, closed; the handle is empty, or std::bad_alloc leaves, when memory is exhausted.
    ///
    /// @param configFile  configuration file; null counts as empty
    /// @throws QD_OrvelException  1 the configuration cannot be read
    static QD_OrvelConnectionHandle create(const char* configFile);

    QD_SQOrvelConnection& operator=(const QD_SQOrvelConnection&) = delete;
    ~QD_SQOrvelConnection() override;

    /// Opens the database file. An open connection is not closed first: its file stays open, with its locks,
    /// until the process ends. Close before opening again.
    ///
    /// @throws QD_OrvelException  23 no name; 4 SQLite refused, with its result code, its message and the file name
    void open(const char* name, const char* path, unsigned int flags) override;
    bool isOpen() const override;
    void close() override;

    /// Runs every statement of `sql` in turn; rows are discarded. Statements before a failing one stay done.
    ///
    /// @return what SQLite counts as changed by the last statement that changed anything on this connection
    /// @throws QD_OrvelException  12 not open, 31 busy, 34 SQLite refused, 13 anything else
    int execNoQuery(const char* sql, unsigned int flags) override;

    /// Runs the first statement of `sql`; anything behind it is ignored without notice.
    ///
    /// @throws QD_OrvelException  12 not open, 31 busy, 34 SQLite refused or there is no statement, 14 anything else
    QD_OrvelQueryHandle execQuery(const char* sql, unsigned int flags) override;
    int execQueryScalar(const char* sql, unsigned int flags) override;

    /// Compiles the first statement of `sql` so that it can be run many times; see QD_SQOrvelCommand.
    ///
    /// @throws QD_OrvelException  23 no text, 12 not open, 22 the text holds no statement, 34 SQLite refused
    QD_OrvelCommandHandle createCommand(const char* sql, unsigned int flags) override;

    /// 0 and less switch waiting off.
    void setBusyTimeout(int milliseconds) override;

    /// Never throws; 0 when nothing was inserted or the connection is closed.
    long long getLastInsertedId() override;

    const char* getProvider() const override; ///< "SQLITE"
    const char* getVersion() const override;  ///< "3.3.5", a constant of the interface, not SQLite's own
    bool isClientServer() const override;     ///< false

    // Tables. Templates are looked up under the database key "SQLite". Names are inserted as they are: what
    // breaks the SQL is SQLite's error.

    /// In SQLite's own order, its own tables included, views not. A failure in the middle, such as a database that turns busy,
    /// cuts the list short; the line in the log is its only sign. With memory exhausted for the query the answer is 0. A
    /// name that the narrow encoding cannot take is left out.
    int getTables(std::vector<std::string>& names) override;

    /// `table` may lie in `names`.
    ///
    /// @throws QD_OrvelException  23 no name, 12 not open, 34 no such table; `names` is then empty
    int getTableColumnNames(const char* table, std::vector<std::string>& names) override;
    int getTableRowCount(const char* table) override;

    /// Compares case-sensitively, though SQLite itself does not tell table names apart by case. Temporary
    /// tables and those of attached databases are not seen.
    bool tableExists(const char* table) override;
    void createTable(const char* tableID, const char* tableName) override;
    void alterTable(const char* tableID, unsigned int step, const char* tableName) override;
    void dropTable(const char* table) override;

    /// Rewrites the file without its unused space. SQLite refuses within a transaction and while queries are read.
    void compressDatabase() override;

    // Database files. None of these needs the connection to be open.

    bool databaseExists(const char* name, const char* path) override;

    /// Creates the file by opening it, which leaves an existing one as it is, and runs SetupDatabase on it
    /// through a connection of its own. The CreateDatabase template must be there but is not run. When a
    /// later step fails the file stays.
    void createDatabase(const char* databaseID, const char* name, const char* path,
                        unsigned int flags) override;

    /// Deletes the file, after closing this connection if it has that file open, and then what SQLite keeps beside it
    /// ("-wal", "-shm", "-journal"). Others that have it open go on with the deleted file; a new database of the name
    /// has nothing in common with it.
    ///
    /// @throws QD_OrvelException  5 with provider code 13 when the file cannot be deleted, or is missing: nothing else is
    ///         deleted then; or when one of the files beside it cannot be deleted, whose name is in the text: the others
    ///         and the database are gone then
    void dropDatabase(const char* name, const char* path) override;
    void getDBCommand(const char* name, std::string& text, bool required) override;

protected:
    explicit QD_SQOrvelConnection(const char* configFile);

    /// The open database; null while closed.
    operator sqlite3*() const; // NOLINT(google-explicit-constructor): commands and queries pass it on

    /// @throws QD_OrvelException  12 with provider code 1000 when the connection is closed
    void checkDB() const;

    /// Compiles the first statement of a UTF-8 text; null when there is only white space and comments.
    ///
    /// @throws QD_OrvelException  22 null text, 12 not open, 34 SQLite refused, 33 anything else
    sqlite3_stmt* compile(const char* text);

    /// The same; `tail` tells where the rest of the text begins. The result is 0. A failure leaves `statement`
    /// null and `tail` as it was.
    int compile(const char* text, sqlite3_stmt** statement, const char** tail);

    /// The file name as the library shows it, with backslashes.
    void getDBPathName(const char* name, const char* path, std::string& out) const;

    void beginTransaction(unsigned int flags, const char* name) override;
    void commitTransaction(const char* name) override;
    void abortTransaction(const char* name) override;

private:
    friend class QD_SQOrvelCommand;
    friend class QD_SQOrvelQuery;

    sqlite3* db = nullptr;
    int busyTimeout;
    int transactionDepth = 0;
    /// What SQLite is known to have of the transaction that the outermost begin began.
    enum class Transaction : unsigned char {
        none,         // nothing, or one that the application began or ended by SQL of its own
        open,         // it goes on
        rolledBack,   // SQLite has rolled it back by itself, and the count is not 0 yet
        commitFailed, // the count is 0, but it may still be open
        stuck         // it was to be rolled back, and SQLite could not
    };
    Transaction transaction = Transaction::none;
    int rollbackCode = 0; // of the statement whose failure rolled the transaction back
    std::string rollbackReason;
    sqlite3_stmt* rollback = nullptr; // compiled at the first begin: later there may be no memory for it
    std::string dbPathName;
    QD_OrvelConfig config;
    QD_OrvelTypedHandle<orvel::SqliteStatement>
        direct; // of the last query; serves the next one when that has ended

    QD_SQOrvelConnection(const QD_SQOrvelConnection& other);

    void openFile(const std::string& diskName, const std::string& fileName);
    sqlite3_stmt* prepare(const char* text, const char** tail);
    const char* runFirstStatement(const char* text);
    orvel::SqliteStatement& freeStatement();
    void runTableTemplate(const char* tableID, const char* templateName, const char* tableName,
                          bool required);
    bool hasOpen(const std::string& fileName) const;

    /// To be called before a statement runs, and to refuse it.
    ///
    /// @throws QD_OrvelException  34 with provider code 4 in a transaction that SQLite has rolled back
    void checkTransaction() {
        if (transaction == Transaction::rolledBack || transaction == Transaction::stuck) {
            refuseOrRollBack();
        }
    }
    void refuseOrRollBack();
    /// To be called when a statement has succeeded: it may have ended the transaction by SQL of the application's own.
    void noteSuccess() noexcept {
        if (transaction == Transaction::open || transaction == Transaction::commitFailed) {
            noteEndOfTransaction();
        }
    }
    void noteEndOfTransaction() noexcept;
    /// To be called when a statement on `failed` has failed, before anything else can.
    void noteFailure(sqlite3* failed, int result) noexcept;
    void compileRollback() noexcept;
    void rollBack() noexcept;
    void forgetTransaction() noexcept;
    [[noreturn]] void throwRolledBack() const;
};

/// The reference that each SQLite command and query holds to its connection.
class QD_ORVEL_EXPORT QD_SQOrvelConnectionHandle : public QD_OrvelTypedHandle<QD_SQOrvelConnection> {
public:
    using QD_OrvelTypedHandle::QD_OrvelTypedHandle;
};

#endif
