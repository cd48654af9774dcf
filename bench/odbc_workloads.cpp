#include <orvel/QD_OrvelInterface.h>
#include <sql.h>
#include <sqlext.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "workloads.h"

// The engine is the one whose connection string stands in ORVEL_BENCH_CONNECTION; it has the tables that
// script/bench creates.

namespace {

using bench::scannedRows;
using bench::use;

constexpr const char* insertFive =
    "INSERT INTO copies (id, serial, price, name, maker) VALUES (?, ?, ?, ?, ?)";
constexpr const char* selectAll = "SELECT id, serial, price, name, maker FROM parts";
constexpr const char* selectOne = "SELECT serial, price, name FROM parts WHERE id = ?";
constexpr const char* countOne = "SELECT COUNT(*) FROM parts WHERE id = 77";
constexpr const char* partName = "a part like any other";
constexpr const char* maker = "workshop 7";

std::string connectionString() {
    const char* const text = std::getenv("ORVEL_BENCH_CONNECTION");
    if (text == nullptr) {
        throw std::runtime_error("ORVEL_BENCH_CONNECTION is not set");
    }
    return text;
}

SQLCHAR* sqlText(const char* text) { return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text)); }

/// A handle of the driver manager, and what it belongs to.
class Handle {
public:
    Handle(SQLSMALLINT kind, SQLHANDLE parent) : type(kind) {
        if (SQLAllocHandle(kind, parent, &handle) != SQL_SUCCESS) {
            throw std::runtime_error("no handle");
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { SQLFreeHandle(type, handle); }

    SQLHANDLE get() const { return handle; }
    /// True unless there is no data.
    bool check(SQLRETURN code) const {
        if (code == SQL_NO_DATA || SQL_SUCCEEDED(code)) {
            return code != SQL_NO_DATA;
        }
        SQLCHAR state[6];
        SQLCHAR text[512] = "no diagnostics";
        SQLGetDiagRec(type, handle, 1, state, nullptr, text, sizeof text, nullptr);
        throw std::runtime_error(reinterpret_cast<const char*>(text));
    }

private:
    SQLSMALLINT type;
    SQLHANDLE handle = nullptr;
};

struct RawConnection {
    Handle environment{SQL_HANDLE_ENV, SQL_NULL_HANDLE};
    Handle connection{SQL_HANDLE_DBC, (SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION,
                                                     reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
                                       environment.get())};

    RawConnection() {
        const std::string text = connectionString();
        connection.check(SQLDriverConnect(connection.get(), nullptr, sqlText(text.c_str()), SQL_NTS, nullptr,
                                          0, nullptr, SQL_DRIVER_NOPROMPT));
    }
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;
    ~RawConnection() { SQLDisconnect(connection.get()); }

    void begin() const { setAutocommit(SQL_AUTOCOMMIT_OFF); }
    void rollback() const {
        connection.check(SQLEndTran(SQL_HANDLE_DBC, connection.get(), SQL_ROLLBACK));
        setAutocommit(SQL_AUTOCOMMIT_ON);
    }

private:
    void setAutocommit(SQLULEN value) const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): ODBC has numbers in the place of pointers
        auto* const number = reinterpret_cast<SQLPOINTER>(value);
        connection.check(SQLSetConnectAttr(connection.get(), SQL_ATTR_AUTOCOMMIT, number, 0));
    }
};

struct RawStatement : Handle {
    explicit RawStatement(const RawConnection& connection)
        : Handle(SQL_HANDLE_STMT, connection.connection.get()) {}

    void prepare(const char* sql) const { check(SQLPrepare(get(), sqlText(sql), SQL_NTS)); }
    bool execute() const { return check(SQLExecute(get())); }
    void executeDirectly(const char* sql) const { check(SQLExecDirect(get(), sqlText(sql), SQL_NTS)); }
    bool fetch() const { return check(SQLFetch(get())); }
    void close() const { check(SQLFreeStmt(get(), SQL_CLOSE)); }

    void bind(SQLUSMALLINT number, SQLSMALLINT transferType, SQLSMALLINT sqlType, SQLULEN size, void* data,
              SQLLEN capacity, SQLLEN* length) const {
        check(SQLBindParameter(get(), number, SQL_PARAM_INPUT, transferType, sqlType, size, 0, data, capacity,
                               length));
    }
    long long integer(SQLUSMALLINT column) const {
        long long value = 0;
        read(column, SQL_C_SBIGINT, &value, sizeof value);
        return value;
    }
    double real(SQLUSMALLINT column) const {
        double value = 0;
        read(column, SQL_C_DOUBLE, &value, sizeof value);
        return value;
    }
    void text(SQLUSMALLINT column, std::string& value) const {
        char buffer[256];
        value.assign(buffer, static_cast<std::size_t>(read(column, SQL_C_CHAR, buffer, sizeof buffer)));
    }

private:
    SQLLEN read(SQLUSMALLINT column, SQLSMALLINT transferType, void* value, SQLLEN size) const {
        SQLLEN length = 0;
        check(SQLGetData(get(), column, transferType, value, size, &length));
        return length;
    }
};

void rawInsert(int times) {
    const RawConnection connection;
    connection.begin();
    const RawStatement insert(connection);
    SQLINTEGER id = 0;
    SQLBIGINT serial = 0;
    double price = 0;
    char name[64];
    char madeBy[64];
    SQLLEN lengths[5] = {};
    insert.prepare(insertFive);
    insert.bind(1, SQL_C_SLONG, SQL_INTEGER, 10, &id, sizeof id, &lengths[0]);
    insert.bind(2, SQL_C_SBIGINT, SQL_BIGINT, 19, &serial, sizeof serial, &lengths[1]);
    insert.bind(3, SQL_C_DOUBLE, SQL_DOUBLE, 15, &price, sizeof price, &lengths[2]);
    insert.bind(4, SQL_C_CHAR, SQL_VARCHAR, sizeof name, name, sizeof name, &lengths[3]);
    insert.bind(5, SQL_C_CHAR, SQL_VARCHAR, sizeof madeBy, madeBy, sizeof madeBy, &lengths[4]);
    const auto copy = [](const char* text, char* to, SQLLEN& length) {
        const std::string_view all(text);
        length = static_cast<SQLLEN>(all.copy(to, 64));
    };
    for (int i = 1; i <= times; ++i) {
        id = i;
        serial = i * 1000000007LL;
        price = i / 7.0;
        copy(partName, name, lengths[3]);
        copy(maker, madeBy, lengths[4]);
        insert.execute();
        SQLLEN count = 0;
        insert.check(SQLRowCount(insert.get(), &count));
        use(count);
    }
    connection.rollback();
}

void rawScan(int times) {
    const RawConnection connection;
    const RawStatement rows(connection);
    std::string name;
    std::string madeBy;
    for (; times > 0; --times) {
        rows.executeDirectly(selectAll);
        while (rows.fetch()) {
            use(rows.integer(1));
            use(rows.integer(2));
            use(static_cast<long long>(rows.real(3)));
            rows.text(4, name);
            rows.text(5, madeBy);
            use(name.back() + madeBy.back());
        }
        rows.close();
    }
}

void rawLookup(int times) {
    const RawConnection connection;
    connection.begin();
    const RawStatement row(connection);
    SQLINTEGER id = 0;
    SQLLEN length = 0;
    row.prepare(selectOne);
    row.bind(1, SQL_C_SLONG, SQL_INTEGER, 10, &id, sizeof id, &length);
    std::string name;
    for (int i = 0; i < times; ++i) {
        id = 1 + i * 7 % scannedRows;
        row.execute();
        row.fetch();
        use(row.integer(1));
        use(static_cast<long long>(row.real(2)));
        row.text(3, name);
        use(name.back());
        row.close();
    }
    connection.rollback();
}

void rawOneShot(int times) {
    const RawConnection connection;
    const RawStatement row(connection);
    for (; times > 0; --times) {
        row.executeDirectly(countOne);
        row.fetch();
        use(row.integer(1));
        row.close();
    }
}

/// A connection of the library with the same connection string.
struct Connected {
    QD_OrvelConnectionHandle connection;

    Connected() {
        const auto file =
            std::filesystem::temp_directory_path() / ("orvel-bench-" + std::to_string(std::rand()) + ".xml");
        std::ofstream(file) << "<Orvel><MajorVersion>0</MajorVersion><MinorVersion>2</MinorVersion>"
                               "<CommonSection><DefaultProvider>ADO</DefaultProvider></CommonSection>"
                               "<ProviderSection><ADO><Defaults><Database>Bench</Database></Defaults>"
                               "<Bench><Properties><ConnectionString>"
                            << connectionString()
                            << "</ConnectionString></Properties></Bench></ADO></ProviderSection>"
                               "<DatabaseSection><Bench><Properties><MasterDBName>none</MasterDBName>"
                               "</Properties></Bench></DatabaseSection></Orvel>";
        connection =
            QD_OrvelConnection::create(QD_ORVEL_PROVIDER_ADO, file.c_str(), "server", "Bench", "instance");
        connection->open("database", nullptr, 0);
        std::filesystem::remove(file);
    }
};

void insert(int times) {
    Connected at;
    const QD_OrvelTransaction transaction(at.connection, QD_ORVEL_TRANSACTION_DEFERRED, true, "insert");
    const auto command = at.connection->createCommand(insertFive, 0);
    for (int i = 1; i <= times; ++i) {
        command->addIntParam(i);
        command->addInt64Param(i * 1000000007LL);
        command->addDoubleParam(i / 7.0);
        command->addStringParam(partName);
        command->addStringParam(maker);
        use(command->execNoQuery(0));
        command->resetParams();
    }
}

void scan(int times) {
    const Connected at;
    std::string name;
    std::string madeBy;
    for (; times > 0; --times) {
        const auto rows = at.connection->execQuery(selectAll, 0);
        for (; !rows->eof(); rows->nextRow()) {
            int id = 0;
            long long serial = 0;
            double price = 0;
            rows->getIntField(0, id);
            rows->getInt64Field(1, serial);
            rows->getDoubleField(2, price);
            rows->getStringField(3, name);
            rows->getStringField(4, madeBy);
            use(id);
            use(serial);
            use(static_cast<long long>(price));
            use(name.back() + madeBy.back());
        }
    }
}

void lookup(int times) {
    Connected at;
    bench::lookUp(at.connection, selectOne, times);
}

void oneShot(int times) {
    const Connected at;
    for (; times > 0; --times) {
        use(at.connection->execQueryScalar(countOne, 0));
    }
}

constexpr bench::Workload workloads[] = {
    {"odbc.insert/raw", rawInsert},    {"odbc.insert/orvel", insert},    {"odbc.scan/raw", rawScan},
    {"odbc.scan/orvel", scan},         {"odbc.lookup/raw", rawLookup},   {"odbc.lookup/orvel", lookup},
    {"odbc.one-shot/raw", rawOneShot}, {"odbc.one-shot/orvel", oneShot},
};

} // namespace

std::span<const bench::Workload> bench::odbcWorkloads() { return workloads; }
