// What a plain program would do with ODBC's functions, with the options and tables that the library has.

#include <sql.h>
#include <sqlext.h>

#include <cstring>
#include <stdexcept>

#include "rival.h"

namespace {

using namespace bench;

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

class Statement : public Handle {
public:
    explicit Statement(const Handle& connection) : Handle(SQL_HANDLE_STMT, connection.get()) {}

    void prepare(const char* sql) const { check(SQLPrepare(get(), sqlText(sql), SQL_NTS)); }
    void execute() const { check(SQLExecute(get())); }
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
    std::string_view bytes(SQLUSMALLINT column, SQLSMALLINT transferType) {
        const SQLLEN length = read(column, transferType, buffer, sizeof buffer);
        return {buffer, static_cast<std::size_t>(length)};
    }

private:
    char buffer[256];

    SQLLEN read(SQLUSMALLINT column, SQLSMALLINT transferType, void* value, SQLLEN size) const {
        SQLLEN length = 0;
        check(SQLGetData(get(), column, transferType, value, size, &length));
        return length;
    }
};

class OdbcByHand : public Rival {
public:
    explicit OdbcByHand(const Place& /*place*/) {
        const std::string text = setting("ORVEL_BENCH_ODBC_CONNECTION");
        connection.check(SQLDriverConnect(connection.get(), nullptr, sqlText(text.c_str()), SQL_NTS, nullptr,
                                          0, nullptr, SQL_DRIVER_NOPROMPT));
    }
    ~OdbcByHand() override { SQLDisconnect(connection.get()); }

    void insert(int times, Sum& sum) override {
        setAutocommit(SQL_AUTOCOMMIT_OFF);
        const Statement row(connection);
        SQLINTEGER id = 0;
        SQLBIGINT serial = 0;
        double price = 0;
        char name[64];
        unsigned char data[64];
        SQLLEN lengths[5] = {};
        row.prepare(insertFive);
        row.bind(1, SQL_C_SLONG, SQL_INTEGER, 10, &id, sizeof id, &lengths[0]);
        row.bind(2, SQL_C_SBIGINT, SQL_BIGINT, 19, &serial, sizeof serial, &lengths[1]);
        row.bind(3, SQL_C_DOUBLE, SQL_DOUBLE, 15, &price, sizeof price, &lengths[2]);
        row.bind(4, SQL_C_CHAR, SQL_VARCHAR, sizeof name, name, sizeof name, &lengths[3]);
        row.bind(5, SQL_C_BINARY, SQL_LONGVARBINARY, sizeof data, data, sizeof data, &lengths[4]);
        for (id = 1; id <= times; ++id) {
            serial = serialOf(id);
            price = priceOf(id);
            lengths[3] = static_cast<SQLLEN>(std::string_view(partName).copy(name, sizeof name));
            std::memcpy(data, partData, sizeof partData);
            lengths[4] = sizeof partData;
            row.execute();
            SQLLEN count = 0;
            row.check(SQLRowCount(row.get(), &count));
            sum.add(static_cast<long long>(count));
        }
        rollBack();
    }

    void scan(int times, Sum& sum) override {
        Statement row(connection);
        std::string name;
        for (; times > 0; --times) {
            row.executeDirectly(selectAll);
            while (row.fetch()) {
                sum.add(row.integer(1));
                sum.add(row.integer(2));
                sum.add(row.real(3));
                name.assign(row.bytes(4, SQL_C_CHAR));
                sum.add(name);
                sum.add(row.bytes(5, SQL_C_BINARY));
            }
            row.close();
        }
    }

    void lookup(int times, Sum& sum) override {
        setAutocommit(SQL_AUTOCOMMIT_OFF);
        Statement row(connection);
        SQLINTEGER id = 0;
        SQLLEN length = 0;
        row.prepare(selectOne);
        row.bind(1, SQL_C_SLONG, SQL_INTEGER, 10, &id, sizeof id, &length);
        std::string name;
        for (int n = 0; n < times; ++n) {
            id = wanted(n);
            row.execute();
            row.fetch();
            sum.add(row.integer(1));
            sum.add(row.real(2));
            name.assign(row.bytes(3, SQL_C_CHAR));
            sum.add(name);
            row.close();
        }
        rollBack();
    }

    void oneShot(int times, Sum& sum) override {
        setAutocommit(times > 1 ? SQL_AUTOCOMMIT_OFF : SQL_AUTOCOMMIT_ON);
        const Statement row(connection);
        for (int n = 0; n < times; ++n) {
            row.executeDirectly(countOne);
            row.fetch();
            sum.add(row.integer(1));
            row.close();
        }
        rollBack();
    }

private:
    Handle environment{SQL_HANDLE_ENV, SQL_NULL_HANDLE};
    Handle connection{SQL_HANDLE_DBC, (SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION,
                                                     reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
                                       environment.get())};

    void setAutocommit(SQLULEN value) const {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): ODBC has numbers in the place of pointers
        auto* const number = reinterpret_cast<SQLPOINTER>(value);
        connection.check(SQLSetConnectAttr(connection.get(), SQL_ATTR_AUTOCOMMIT, number, 0));
    }
    void rollBack() const {
        connection.check(SQLEndTran(SQL_HANDLE_DBC, connection.get(), SQL_ROLLBACK));
        setAutocommit(SQL_AUTOCOMMIT_ON);
    }
};

const Registered entries(Entry{"postgresql", "odbc", opened<OdbcByHand>},
                         Entry{"mariadb", "odbc", opened<OdbcByHand>});

} // namespace
