#ifndef QD_ORVEL_CONNECTION_H
#define QD_ORVEL_CONNECTION_H

#include <string>
#include <vector>

#include "QD_OrvelCommand.h"
#include "QD_OrvelExport.h"
#include "QD_OrvelHandle.h"
#include "QD_OrvelQuery.h"

class QD_OrvelConnectionHandle;

/// Which provider a connection is made of.
enum QD_OrvelProvider : int {
    QD_ORVEL_PROVIDER_APP_PRIMARY = 1,    ///< what the application default of slot 2 says
    QD_ORVEL_PROVIDER_APP_SECONDARY = 2,  ///< what the application default of slot 3 says
    QD_ORVEL_PROVIDER_CONFIG_DEFAULT = 3, ///< what the configuration's DefaultProvider says
    QD_ORVEL_PROVIDER_SQLITE = 4,         ///< database files on this machine
    QD_ORVEL_PROVIDER_ADO = 5,            ///< client/server engines
};

/// The process-wide defaults that an application sets; they last as long as the process.
enum QD_OrvelAppDefault : int {
    QD_ORVEL_APPDEF_CONFIG_FILE = 1,        ///< text, at first "OrvelConfig.xml"
    QD_ORVEL_APPDEF_PRIMARY_PROVIDER = 2,   ///< number, at first 4 (SQLite)
    QD_ORVEL_APPDEF_SECONDARY_PROVIDER = 3, ///< number, at first 4 (SQLite)
    QD_ORVEL_APPDEF_SQL_TRACE = 4,          ///< number, at first 0: non-zero traces SQL to standard error
    QD_ORVEL_APPDEF_MASTER_CONFIG_FILE = 5, ///< text, at first empty: copied over a missing or outdated file
};

/// A connection to one database, whichever engine stands behind it.
///
/// A connection and everything made from it are used by one thread at a time and destroyed on the thread that
/// made the connection; different connections are independent. Texts are null-terminated and in the process's
/// narrow encoding (the codeset of the locale; UTF-8 in "C"). A null text counts as empty unless said
/// otherwise. Names are put into SQL as they are, unquoted.
///
/// Unless an operation says that it never throws, it may raise QD_OrvelException: 12 when the connection is
/// not open, 31 when the database was busy, 34, 13 or 14 when the engine refused a statement, 23 for a null
/// or empty name. With memory exhausted, an operation raises its own code or 32. On
/// SQLite one that answers a handle may answer an empty one instead, and one that reads through a cursor of its own
/// (`execQueryScalar`, `tableExists`, `getTables`) then answers 0, false or an empty list. The order of
/// the virtual operations is part of the interface.
class QD_ORVEL_EXPORT QD_OrvelConnection : public QD_OrvelHandableClass {
public:
    /// Makes a connection, closed.
    ///
    /// @param provider    which engine it is for
    /// @param configFile  configuration file; null or empty is the application default of slot 1
    /// @param server      for ADO, like the next two: name of the server. Null takes the configuration's
    ///                    default (Server, Database, Instance); an empty text is a value.
    /// @param database    key of the engine's section in the configuration
    /// @param instance    instance on the server
    /// @throws QD_OrvelException  2 no such provider, 26 Database or Instance is in neither place, 1 the
    ///         configuration cannot be read
    ///
    /// Callable from any thread.
    static QD_OrvelConnectionHandle create(QD_OrvelProvider provider, const char* configFile = nullptr,
                                           const char* server = nullptr, const char* database = nullptr,
                                           const char* instance = nullptr);

    /// Sets one application default. Connections that exist keep what they have read.
    ///
    /// @param slot   any other value than the five changes nothing
    /// @param value  for the slots of numbers, not validated
    /// @param text   for the slots of texts; null leaves the slot as it is, an empty text empties it
    ///
    /// Never throws an error of its own. Callable from any thread.
    static void setAppDefault(QD_OrvelAppDefault slot, int value, const char* text);

    /// Forgets the configuration files read so far: connections made from now on read them again. Those that
    /// exist keep what they have read. Callable from any thread.
    static void flushDBConfig();

    QD_OrvelConnection& operator=(const QD_OrvelConnection&) = delete;
    ~QD_OrvelConnection() override;

    /// Opens a logical database.
    ///
    /// @param name   logical name of the database
    /// @param path   directory, for providers of database files; null or empty is the current one
    /// @param flags  kept for the interface, not used
    /// @throws QD_OrvelException  23 no name, 4 the database could not be opened
    virtual void open(const char* name, const char* path, unsigned int flags) = 0;

    /// Never throws.
    virtual bool isOpen() const = 0;

    /// Never throws; twice is harmless.
    virtual void close() = 0;

    /// Replaces `names` by the names of all tables and returns their number.
    virtual int getTables(std::vector<std::string>& names) = 0;

    /// Replaces `names` by the column names of one table and returns their number.
    virtual int getTableColumnNames(const char* table, std::vector<std::string>& names) = 0;
    virtual int getTableRowCount(const char* table) = 0;
    virtual bool tableExists(const char* table) = 0;

    /// Runs the table templates CreateTable, then SetupTable if there is one.
    ///
    /// @param tableID    names the templates in the configuration; 24 when it has none
    /// @param tableName  the table to create
    virtual void createTable(const char* tableID, const char* tableName) = 0;

    /// Runs the one table template AlterTable<step>. Nothing records which steps a table has had.
    virtual void alterTable(const char* tableID, unsigned int step, const char* tableName) = 0;
    virtual void dropTable(const char* table) = 0;

    /// Runs SQL that returns no rows.
    ///
    /// @param sql    null or empty: nothing happens, even on a closed connection, and the result is 0
    /// @param flags  kept for the interface, not used
    /// @return the number of rows changed
    virtual int execNoQuery(const char* sql, unsigned int flags) = 0;

    /// Runs one query and returns its cursor.
    ///
    /// @param sql    null or empty: an empty cursor, even on a closed connection
    /// @param flags  kept for the interface, not used
    virtual QD_OrvelQueryHandle execQuery(const char* sql, unsigned int flags) = 0;

    /// The integer in the first field of the first row; 0 when there is none or it is NULL.
    virtual int execQueryScalar(const char* sql, unsigned int flags) = 0;

    /// Prepares a command with positional parameters ("?").
    ///
    /// @param flags  kept for the interface, not used
    virtual QD_OrvelCommandHandle createCommand(const char* sql, unsigned int flags) = 0;

    /// How long to wait for a busy database. Kept for the next `open` when the connection is closed. Never throws.
    virtual void setBusyTimeout(int milliseconds) = 0;

    /// Id of the row that this connection inserted last.
    virtual long long getLastInsertedId() = 0;

    /// "SQLITE", or the name of the ADO provider, which is null before the first `open`.
    virtual const char* getProvider() const = 0;
    virtual const char* getVersion() const = 0;
    virtual bool isClientServer() const = 0;
    virtual void compressDatabase() = 0;

    /// These three need no open connection and leave this one as it is, unless it has the dropped database open.
    virtual bool databaseExists(const char* name, const char* path) = 0;

    /// Creates a database and runs the database template SetupDatabase on it if there is one.
    ///
    /// @param databaseID  names the templates in the configuration; 25 when it has none
    virtual void createDatabase(const char* databaseID, const char* name, const char* path,
                                unsigned int flags) = 0;
    virtual void dropDatabase(const char* name, const char* path) = 0;

    /// Reads a named command of the connection's section in the configuration, placeholders and all.
    ///
    /// @param required  true: 26 when it is missing; false: `text` is then left empty
    virtual void getDBCommand(const char* name, std::string& text, bool required) = 0;

protected:
    QD_OrvelConnection() = default;
    QD_OrvelConnection(const QD_OrvelConnection&) = default;

    friend class QD_OrvelTransaction;

    virtual void beginTransaction(unsigned int flags, const char* name) = 0;
    virtual void commitTransaction(const char* name) = 0;
    virtual void abortTransaction(const char* name) = 0;
};

/// A counted reference to a connection.
class QD_ORVEL_EXPORT QD_OrvelConnectionHandle : public QD_OrvelTypedHandle<QD_OrvelConnection> {
public:
    using QD_OrvelTypedHandle::QD_OrvelTypedHandle;
};

#endif
