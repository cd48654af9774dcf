#include <mysql.h>

#include <array>
#include <cstring>
#include <stdexcept>

#include "../rival.h"

namespace {

using namespace bench;

/// A prepared statement with its bound values: rows come one by one, in binary.
class Prepared {
public:
    Prepared(MYSQL* session, const char* sql) : statement(mysql_stmt_init(session)) {
        check(mysql_stmt_prepare(statement, sql, std::strlen(sql)));
    }
    ~Prepared() { mysql_stmt_close(statement); }

    static MYSQL_BIND slot(enum_field_types type, void* value, unsigned long size, unsigned long* length) {
        MYSQL_BIND bound{};
        bound.buffer_type = type;
        bound.buffer = value;
        bound.buffer_length = size;
        bound.length = length;
        return bound;
    }
    void bind(MYSQL_BIND* values) { check(mysql_stmt_bind_param(statement, values)); }
    void bindResult(MYSQL_BIND* values) { check(mysql_stmt_bind_result(statement, values)); }
    void execute() { check(mysql_stmt_execute(statement)); }
    bool fetch() { return mysql_stmt_fetch(statement) == 0; }
    void finish() { mysql_stmt_free_result(statement); }
    long long changed() { return static_cast<long long>(mysql_stmt_affected_rows(statement)); }

private:
    MYSQL_STMT* statement;

    void check(int failed) {
        if (failed != 0) {
            throw std::runtime_error(mysql_stmt_error(statement));
        }
    }
};

class Libmariadb : public Rival {
public:
    explicit Libmariadb(const Place& /*place*/) : session(mysql_init(nullptr)) {
        if (mysql_real_connect(
                session, setting("ORVEL_BENCH_HOST").c_str(), setting("ORVEL_BENCH_USER").c_str(),
                setting("ORVEL_BENCH_PASSWORD").c_str(), setting("ORVEL_BENCH_DATABASE").c_str(),
                static_cast<unsigned>(std::stoi(setting("ORVEL_BENCH_PORT"))), nullptr, 0) == nullptr) {
            throw std::runtime_error(mysql_error(session));
        }
    }
    ~Libmariadb() override { mysql_close(session); }

    void insert(int times, Sum& sum) override {
        execute("BEGIN");
        Prepared row(session, insertFive);
        int id = 0;
        long long serial = 0;
        double price = 0;
        unsigned long lengths[] = {0, 0, 0, std::strlen(partName), sizeof partData};
        std::array<MYSQL_BIND, 5> values = {
            Prepared::slot(MYSQL_TYPE_LONG, &id, sizeof id, nullptr),
            Prepared::slot(MYSQL_TYPE_LONGLONG, &serial, sizeof serial, nullptr),
            Prepared::slot(MYSQL_TYPE_DOUBLE, &price, sizeof price, nullptr),
            Prepared::slot(MYSQL_TYPE_STRING, const_cast<char*>(partName), lengths[3], &lengths[3]),
            Prepared::slot(MYSQL_TYPE_BLOB, const_cast<unsigned char*>(partData), lengths[4], &lengths[4])};
        row.bind(values.data());
        for (id = 1; id <= times; ++id) {
            serial = serialOf(id);
            price = priceOf(id);
            row.execute();
            sum.add(row.changed());
        }
        execute("ROLLBACK");
    }

    void scan(int times, Sum& sum) override {
        int id = 0;
        long long serial = 0;
        double price = 0;
        char text[256];
        char data[256];
        unsigned long lengths[5] = {};
        std::string name;
        std::array<MYSQL_BIND, 5> values = {
            Prepared::slot(MYSQL_TYPE_LONG, &id, sizeof id, nullptr),
            Prepared::slot(MYSQL_TYPE_LONGLONG, &serial, sizeof serial, nullptr),
            Prepared::slot(MYSQL_TYPE_DOUBLE, &price, sizeof price, nullptr),
            Prepared::slot(MYSQL_TYPE_STRING, text, sizeof text, &lengths[3]),
            Prepared::slot(MYSQL_TYPE_BLOB, data, sizeof data, &lengths[4])};
        for (; times > 0; --times) {
            Prepared row(session, selectAll);
            row.execute();
            row.bindResult(values.data());
            while (row.fetch()) {
                sum.add(static_cast<long long>(id));
                sum.add(serial);
                sum.add(price);
                name.assign(text, lengths[3]);
                sum.add(name);
                sum.add(data, lengths[4]);
            }
        }
    }

    void lookup(int times, Sum& sum) override {
        execute("BEGIN");
        Prepared row(session, selectOne);
        int id = 0;
        long long serial = 0;
        double price = 0;
        char text[256];
        unsigned long length = 0;
        std::string name;
        MYSQL_BIND parameter = Prepared::slot(MYSQL_TYPE_LONG, &id, sizeof id, nullptr);
        std::array<MYSQL_BIND, 3> values = {
            Prepared::slot(MYSQL_TYPE_LONGLONG, &serial, sizeof serial, nullptr),
            Prepared::slot(MYSQL_TYPE_DOUBLE, &price, sizeof price, nullptr),
            Prepared::slot(MYSQL_TYPE_STRING, text, sizeof text, &length)};
        row.bind(&parameter);
        row.bindResult(values.data());
        for (int n = 0; n < times; ++n) {
            id = wanted(n);
            row.execute();
            row.fetch();
            sum.add(serial);
            sum.add(price);
            name.assign(text, length);
            sum.add(name);
            row.finish();
        }
        execute("ROLLBACK");
    }

    void oneShot(int times, Sum& sum) override {
        execute("BEGIN");
        for (; times > 0; --times) {
            execute(countOne);
            MYSQL_RES* const result = mysql_store_result(session);
            sum.add(static_cast<long long>(std::atoi(mysql_fetch_row(result)[0])));
            mysql_free_result(result);
        }
        execute("ROLLBACK");
    }

private:
    MYSQL* session;

    void execute(const char* sql) {
        if (mysql_query(session, sql) != 0) {
            throw std::runtime_error(mysql_error(session));
        }
    }
};

const Registered entry(Entry{"mariadb", "libmariadb", opened<Libmariadb>});

} // namespace
