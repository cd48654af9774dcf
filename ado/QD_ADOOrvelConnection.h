#ifndef QD_ADOORVEL_CONNECTION_H
#define QD_ADOORVEL_CONNECTION_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QD_OrvelConfig.h"
#include "QD_OrvelConnection.h"

namespace orvel::platform::ado {
class Connection;
}

/// A connection to a client/server engine; see QD_OrvelConnection for what every connection promises.
///
/// The connection string and every statement that depends on the engine come from the configuration, under
/// the database key the connection was made with. Names and values go into them as they are, without quotes.
///
/// Errors of the engine arrive as QD_ADOOrvelException with the engine's own code and text and a status code;
/// a lock that could not be had, a deadlock and a serialization failure are all QD_ORVEL_ERR_BUSY.
///
/// A transaction keeps all of its work or none. A commit that raises has kept nothing, unless its status is 0x8004D016: then
/// the answer to it was lost, and nobody knows. With status 0x8004D019 it was refused: the engine had rolled the transaction
/// back, its session was lost, or a query in it ended before its last row, which `nextRow` cannot tell. A commit that returns
/// has happened, whatever is lost behind it. When a rollback fails, the session is given up: no later call on the connection
/// reaches the engine.
class QD_ORVEL_EXPORT QD_ADOOrvelConnection : public QD_OrvelConnection {
public:
    /// A new connection, closed; the handle is empty when memory is exhausted.
    ///
    /// @param configFile  configuration file
    /// @param server      name of the server; empty: the configuration's LocalServerName when it is opened
    /// @param database    key of the engine's section in the configuration
    /// @param instance    instance on the server; must not be empty when it is opened
    /// @throws QD_OrvelException  26 the section has no MasterDBName, 1 the configuration cannot be read
    ///
    /// A null text counts as empty.
    static QD_OrvelConnectionHandle create(const char* configFile, const char* server, const char* database,
                                           const char* instance);

    QD_ADOOrvelConnection& operator=(const QD_ADOOrvelConnection&) = delete;
    ~QD_ADOOrvelConnection() override;

    /// @param name  the database on the server; goes into the configured connection string
    /// @param path  not used
    /// @throws QD_OrvelException  23 no name, database key or instance; 26 no connection string; 4 anything
    /// else
    void open(const char* name, const char* path, unsigned int flags) override;
    bool isOpen() const override;

    /// Really disconnects; a transaction that is open is rolled back. Commands made from the connection fail
    /// afterwards, queries end with the rows that are in memory.
    void close() override;

    int getTables(std::vector<std::string>& names) override;
    int getTableColumnNames(const char* table, std::vector<std::string>& names) override;
    int getTableRowCount(const char* table) override;
    bool tableExists(const char* table) override;
    void createTable(const char* tableID, const char* tableName) override;
    void alterTable(const char* tableID, unsigned int step, const char* tableName) override;
    void dropTable(const char* table) override;

    /// Hands the whole text to the engine; whether it may hold several statements is the engine's matter.
    ///
    /// @return what the engine counts as changed by the first statement, 0 when it does not count
    /// @throws QD_OrvelException  12 not open, 31 busy, 13 anything else
    int execNoQuery(const char* sql, unsigned int flags) override;

    /// @throws QD_OrvelException  12 not open, 31 busy, 14 anything else
    QD_OrvelQueryHandle execQuery(const char* sql, unsigned int flags) override;
    int execQueryScalar(const char* sql, unsigned int flags) override;

    /// What is wrong with the text shows when the command is run.
    ///
    /// @throws QD_OrvelException  23 no text, 12 not open, 28 anything else
    QD_OrvelCommandHandle createCommand(const char* sql, unsigned int flags) override;

    /// Counts whole seconds, rounded down: below 1000 there is no limit. For statements from now on and
    /// commands made from now on; the time to connect is that of the next `open`.
    void setBusyTimeout(int milliseconds) override;

    /// What the configured statement GetLastInsertedID answers; ids above 2147483647 read as 0.
    long long getLastInsertedId() override;

    const char* getProvider() const override; ///< name of the driver; null before the first `open`
    const char* getVersion() const override;  ///< its version; null before the first `open`
    bool isClientServer() const override;     ///< true

    /// Does nothing: these engines look after their own storage.
    void compressDatabase() override;

    // These three work on a connection of their own to the configured master database.

    bool databaseExists(const char* name, const char* path) override;
    void createDatabase(const char* databaseID, const char* name, const char* path,
                        unsigned int flags) override;

    /// Closes this connection first when it is open on exactly that name.
    void dropDatabase(const char* name, const char* path) override;
    void getDBCommand(const char* name, std::string& text, bool required) override;

protected:
    QD_ADOOrvelConnection(const char* configFile, const char* serverName, const char* databaseKey,
                          const char* instanceName);

    /// @throws QD_OrvelException  12 with provider code 1 when there is no connection object
    void checkDB() const;

    /// The file name of a database as the server knows it. Null arguments leave `out` as it is.
    void getDBPathName(const char* name, const char* directory, std::string& out);

    void beginTransaction(unsigned int flags, const char* name) override;
    void commitTransaction(const char* name) override;
    void abortTransaction(const char* name) override;

private:
    std::shared_ptr<orvel::platform::ado::Connection> connection;
    int timeoutMs = 0;
    int transactionDepth = 0;
    bool commitFailed = false; // the last outermost commit, and nothing was begun since
    std::string dbName;
    std::optional<std::string> providerName;
    std::optional<std::string> providerVersion;
    QD_OrvelConfig config;
    std::string server;
    std::string instance;
    std::string database;
    std::string masterDBName;

    QD_ADOOrvelConnection(const QD_ADOOrvelConnection& other);

    std::string connectionString(const char* name);
    int namesFrom(const std::string& sql, std::vector<std::string>& names);
    std::string command(const char* name, const char* placeholder, const char* value);
    void runTableTemplate(const char* tableID, const char* templateName, const char* tableName,
                          bool required);
    void putIsolationLevelBack(const char* function) noexcept;
    void rollBackFailedCommit() noexcept;
};

#endif
