// Random values of every built-in type, read by each getter and compared with what the server's own client library says.

#include <libpq-fe.h>
#include <mysql.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <span>

#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;

/// What the getters make of a type's values.
enum class Kind { text, integer, single, real, numeric, flag, bytes, moment, zoned };

struct Type {
    const char* name;
    const char* random; ///< an expression
    Kind kind = Kind::text;
    bool isKnownInBinary = true;
    const char* said = "%s"; ///< the expression in whose text no digit is missing
};

const Type postgresqlTypes[] = {
    {"BOOLEAN", "random() < 0.5", Kind::flag},
    {"INT2", "(random() * 65535 - 32768)::int2", Kind::integer},
    {"INT4", "(random() * 4294967295 - 2147483648)::int8", Kind::integer},
    {"INT8", "((random() - 0.5) * 18e18)::int8", Kind::integer},
    {"OID", "(random() * 4e9)::int8", Kind::integer},
    {"FLOAT4", "(random() - 0.5) * 10 ^ (random() * 60 - 30)", Kind::single},
    {"FLOAT8",
     "CASE WHEN random() < 0.9 THEN (random() - 0.5) * 10 ^ (random() * 400 - 200) ELSE 'Infinity' END",
     Kind::real},
    {"NUMERIC",
     "CASE WHEN random() < 0.9 THEN round(((random() - 0.5)::numeric * 10::numeric ^ (random() * 60 - "
     "30)::int), "
     "(random() * 40)::int) ELSE 'NaN' END",
     Kind::numeric},
    {"NUMERIC(20,5)", "(random() - 0.5)::numeric * 1e15", Kind::numeric},
    {"TEXT", "repeat(chr((random() * 900 + 33)::int), (random() * 300)::int)"},
    {"VARCHAR(30)", "repeat('\xC3\xA4', (random() * 30)::int)"},
    {"CHAR(8)", "repeat('x', (random() * 8)::int)"},
    {"NAME", "repeat('n', (random() * 60)::int)"},
    {"BYTEA", "decode(repeat(lpad(to_hex((random() * 255)::int), 2, '0'), (random() * 200)::int), 'hex')",
     Kind::bytes},
    {"DATE",
     "CASE WHEN random() < 0.9 THEN date '2000-01-01' + ((random() - 0.5) * 4500000)::int ELSE 'infinity' "
     "END"},
    {"TIME", "time '00:00' + random() * interval '1 day'"},
    {"TIMESTAMP",
     "CASE WHEN random() < 0.9 THEN timestamp '2000-01-01' + (random() - 0.5) * interval '12000 years' ELSE "
     "'-infinity' END"},
    {"UUID", "gen_random_uuid()"},
    {"JSONB", "jsonb_build_object('a', random())"},
    {"JSON", "json_build_array(random(), 'x')"},
    {"TIMESTAMPTZ", "timestamptz '2000-01-01' + (random() - 0.5) * interval '12000 years'", Kind::zoned,
     false},
    {"TIMETZ", "timetz '00:00+05:30' + random() * interval '1 day'", Kind::text, false},
    {"INTERVAL", "(random() - 0.5) * interval '100 years'", Kind::text, false},
    {"INT4[]", "ARRAY[(random() * 9)::int, NULL]", Kind::text, false},
    {"INT4RANGE", "int4range(0, (random() * 9)::int)", Kind::text, false},
    {"MONEY", "((random() - 0.5) * 1e16)::numeric::money", Kind::text, false},
    {"INET", "'10.0.0.1'::inet + (random() * 9999)::int", Kind::text, false},
    {"XML", "xmlelement(name a, random())", Kind::text, false},
    {"BIT(5)", "(random() * 31)::int::bit(5)", Kind::text, false},
};

const Type mariadbTypes[] = {
    {"TINYINT", "FLOOR(RAND() * 256) - 128", Kind::integer},
    {"TINYINT UNSIGNED", "FLOOR(RAND() * 256)", Kind::integer},
    {"SMALLINT", "FLOOR(RAND() * 65536) - 32768", Kind::integer},
    {"SMALLINT UNSIGNED", "FLOOR(RAND() * 65536)", Kind::integer},
    {"MEDIUMINT", "FLOOR(RAND() * 16777216) - 8388608", Kind::integer},
    {"INT", "FLOOR(RAND() * 4294967296) - 2147483648", Kind::integer},
    {"INT UNSIGNED", "FLOOR(RAND() * 4294967296)", Kind::integer},
    {"BIGINT", "CAST((RAND() - 0.5) * 18e18 AS SIGNED)", Kind::integer},
    {"BIGINT UNSIGNED", "18446744073709551615 - FLOOR(RAND() * 1e18)"},
    {"YEAR", "1901 + FLOOR(RAND() * 254)", Kind::integer},
    {"BIT(1)", "RAND() < 0.5", Kind::flag, true, "%s + 0"},
    {"BIT(17)", "FLOOR(RAND() * 131072)", Kind::bytes, true, "LPAD(HEX(%s + 0), 6, '0')"},
    {"BIT(64)", "CAST(RAND() * 9e18 AS UNSIGNED) * 2", Kind::bytes, true, "LPAD(HEX(%s + 0), 16, '0')"},
    {"FLOAT", "(RAND() - 0.5) * POW(10, RAND() * 60 - 30)", Kind::single, true, "CAST(%s AS DOUBLE)"},
    {"DOUBLE", "(RAND() - 0.5) * POW(10, RAND() * 400 - 200)", Kind::real},
    {"DECIMAL(65,38)", "(RAND() - 0.5) * POW(10, RAND() * 40 - 14)", Kind::numeric},
    {"DECIMAL(20,5)", "(RAND() - 0.5) * 1e14", Kind::numeric},
    {"DATE",
     "IFNULL(ELT(1 + FLOOR(RAND() * 9), '0000-00-00', '2020-02-00'), '1000-01-01' + INTERVAL RAND() * "
     "3280000 DAY)",
     Kind::moment},
    {"DATETIME", "'1000-01-01' + INTERVAL RAND() * 283000000000 SECOND", Kind::moment},
    {"DATETIME(6)", "IF(RAND() < 0.1, '0000-00-00', '1970-01-01' + INTERVAL RAND() * 1e15 MICROSECOND)",
     Kind::moment},
    {"DATETIME(3)", "'1970-01-01' + INTERVAL RAND() * 1e15 MICROSECOND", Kind::moment},
    {"TIMESTAMP(2)", "FROM_UNIXTIME(1 + RAND() * 2147480000)", Kind::moment},
    {"TIME", "SEC_TO_TIME(IF(RAND() < 0.1, 0, (RAND() - 0.5) * 6040000))", Kind::moment},
    {"TIME(6)", "SEC_TO_TIME(IF(RAND() < 0.1, 0, (RAND() - 0.2) * 172800))", Kind::moment},
    {"CHAR(8)", "REPEAT('x', RAND() * 8)"},
    {"VARCHAR(30)", "REPEAT('\xC3\xA4', RAND() * 30)"},
    {"TEXT", "REPEAT(CHAR(33 + RAND() * 90), RAND() * 2000)"},
    {"LONGTEXT", "REPEAT('\xE2\x82\xAC', RAND() * 300)"},
    {"ENUM('small', 'large')", "1 + FLOOR(RAND() * 2)"},
    {"SET('a', 'b', 'c')", "FLOOR(RAND() * 8)"},
    {"JSON", "JSON_OBJECT('a', RAND())"},
    {"UUID", "UUID()"},
    {"INET6", "CONCAT('2001:db8::', HEX(FLOOR(RAND() * 65536)))"},
    {"BINARY(5)", "SUBSTR(SHA1(RAND()), 1, RAND() * 5)", Kind::bytes, true, "HEX(%s)"},
    {"VARBINARY(40)", "UNHEX(SUBSTR(SHA2(RAND(), 256), 1, 2 * FLOOR(RAND() * 30)))", Kind::bytes, true,
     "HEX(%s)"},
    {"BLOB", "REPEAT(UNHEX(SHA1(RAND())), RAND() * 9)", Kind::bytes, true, "HEX(%s)"},
    {"POINT", "POINT(RAND(), RAND())", Kind::bytes, true, "HEX(%s)"},
};

/// What the getters are to answer, by the rules of conversion, for what the server says.
class Expected {
public:
    using Said = std::optional<std::string>;

    Expected(Kind kindOfType, const Said& what) : kind(kindOfType), isNull(!what), words(what.value_or("")) {
        real = std::strtod(words.c_str(), nullptr);
    }

    std::string text() const {
        if (isNull || kind == Kind::bytes) return "(none)";
        if (kind == Kind::flag) return words == "t" || words == "1" ? "-1" : "0";
        if (isReal()) return written(kind == Kind::single ? 7 : 15);
        if (kind == Kind::zoned && !words.ends_with("BC") && words.find('-') == 4) {
            return words.substr(0, words.find_first_of("+-", 11));
        }
        return kind == Kind::moment && isOfCalendar() ? withoutZeros() : words;
    }
    std::string doubleText() const {
        const bool isNumber = isReal() || kind == Kind::numeric || kind == Kind::integer;
        if (isNull || !isNumber || (std::isnan(real) && !isReal())) return "?";
        // A single is read as the double that it is.
        const double value = kind == Kind::single ? double{std::strtof(words.c_str(), nullptr)} : real;
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.17g", value);
        return buffer;
    }
    std::string bytes() const {
        std::string all;
        for (std::size_t at = words.starts_with("\\x") ? 2 : 0; kind == Kind::bytes && at < words.size();
             at += 2) {
            all += static_cast<char>(std::stoi(words.substr(at, 2), nullptr, 16));
        }
        return all;
    }
    bool isInteger() const { return kind == Kind::integer && !isNull; }
    const std::string& said() const { return words; }

private:
    Kind kind;
    bool isNull;
    std::string words;
    double real = 0;

    bool isReal() const { return kind == Kind::single || kind == Kind::real; }
    bool isOfCalendar() const {
        const bool isTime = words.find(':') == 2 && words < "24";
        return isTime || (words.find('-') == 4 && words.find("-00") == std::string::npos);
    }
    std::string withoutZeros() const {
        if (words.find('.') == std::string::npos) return words;
        const std::string shorter = words.substr(0, words.find_last_not_of('0') + 1);
        return shorter.ends_with('.') ? shorter.substr(0, shorter.size() - 1) : shorter;
    }
    std::string written(int digits) const {
        if (!std::isfinite(real)) return real < 0 ? "-INF" : std::isnan(real) ? "NAN" : "INF";
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.*G", digits,
                      kind == Kind::single ? double{std::strtof(words.c_str(), nullptr)} : real);
        return buffer;
    }
};

using Answer = std::vector<std::vector<Expected::Said>>;

std::string environment(const char* name) {
    return std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody sets it
}

/// The engine's own client library.
class Client {
public:
    Client(bool ofPostgresql, const std::string& port) {
        if (!ofPostgresql) {
            mysql_options(mariadb.get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
            mysql_real_connect(mariadb.get(), "127.0.0.1", environment("ORVEL_TEST_USER").c_str(),
                               environment("ORVEL_TEST_PASSWORD").c_str(), "Behaviour",
                               static_cast<unsigned>(std::stoi(port)), nullptr, 0);
            return;
        }
        postgresql.reset(PQconnectdb(("host=127.0.0.1 dbname=Behaviour port=" + port +
                                      " user=" + environment("ORVEL_TEST_USER") +
                                      " password=" + environment("ORVEL_TEST_PASSWORD"))
                                         .c_str()));
    }

    Answer ask(const std::string& sql) const {
        Answer answer;
        if (postgresql != nullptr) {
            const std::unique_ptr<PGresult, Finish> all(PQexec(postgresql.get(), sql.c_str()));
            for (int row = 0; row < PQntuples(all.get()); ++row) {
                auto& cells = answer.emplace_back();
                for (int column = 0; column < PQnfields(all.get()); ++column) {
                    cells.push_back(PQgetisnull(all.get(), row, column) == 1
                                        ? Expected::Said()
                                        : PQgetvalue(all.get(), row, column));
                }
            }
            return answer;
        }
        if (mysql_query(mariadb.get(), sql.c_str()) != 0) {
            throw std::runtime_error(mysql_error(mariadb.get()));
        }
        const std::unique_ptr<MYSQL_RES, Finish> all(mysql_store_result(mariadb.get()));
        while (MYSQL_ROW row = mysql_fetch_row(all.get())) {
            auto& cells = answer.emplace_back();
            for (unsigned column = 0; column < mysql_num_fields(all.get()); ++column) {
                cells.push_back(row[column] != nullptr ? Expected::Said(row[column]) : Expected::Said());
            }
        }
        return answer;
    }

private:
    struct Finish {
        void operator()(PGconn* handle) const { PQfinish(handle); }
        void operator()(PGresult* result) const { PQclear(result); }
        void operator()(MYSQL* handle) const { mysql_close(handle); }
        void operator()(MYSQL_RES* result) const { mysql_free_result(result); }
    };

    std::unique_ptr<PGconn, Finish> postgresql;
    std::unique_ptr<MYSQL, Finish> mariadb{mysql_init(nullptr)};
};

#ifdef __SANITIZE_THREAD__ // it keeps more of each row than a machine has; and nothing here is the work of threads
constexpr long enough = 10000;
constexpr int mostRows = 25;
#else
constexpr long enough = 200000;
constexpr int mostRows = 500;
#endif

class NativeValues : public Behaviour {
protected:
    long cells = 0;

    static std::span<const Type> types() {
        return isOn(postgresql) ? std::span<const Type>(postgresqlTypes)
                                : std::span<const Type>(mariadbTypes);
    }
    static const Type& type(int column) { return types()[static_cast<std::size_t>(column)]; }

    /// As they are, or so that all their digits are in their text.
    static std::string columnsOf(const std::vector<int>& chosen, bool inText) {
        std::string list;
        for (const int column : chosen) {
            const std::string said = inText ? type(column).said : "%s";
            const std::size_t place = said.find("%s");
            list += (list.empty() ? "" : ", ") + said.substr(0, place) + "c" + std::to_string(column) +
                    said.substr(place + 2);
        }
        return list;
    }

    void makeTable(std::mt19937& random, int rows) {
        std::string columns, values;
        int number = 0;
        for (const Type& each : types()) {
            columns += ", c" + std::to_string(number++) + " " + each.name;
            values += isOn(postgresql) ? std::string(", CASE WHEN random() < 0.85 THEN (") + each.random +
                                             ")::" + each.name + " END"
                                       : std::string(", IF(RAND() < 0.85, ") + each.random + ", NULL)";
        }
        const std::string last = std::to_string(rows);
        run("DROP TABLE IF EXISTS r");
        run("CREATE TABLE r (id INTEGER PRIMARY KEY" + columns + ")");
        run(mine({"", "", "SELECT setseed(0.", "SET sql_mode = '', rand_seed2 = 7, rand_seed1 = "}) +
            std::to_string(random() % 1000) + mine({"", "", ")", ""}));
        run("INSERT INTO r SELECT g" + values + " FROM " +
            (isOn(postgresql) ? "generate_series(1, " + last + ") g"
                              : "(SELECT seq AS g FROM seq_1_to_1000) s WHERE g <= " + last));
    }

    void compare(const QD_OrvelQueryHandle& rows, const std::vector<int>& chosen, const Answer& all) {
        std::size_t row = 0;
        for (; !rows->eof(); rows->nextRow(), ++row) {
            ASSERT_LT(row, all.size());
            for (std::size_t place = 0; place < chosen.size(); ++place) {
                SCOPED_TRACE(type(chosen[place]).name);
                compareCell(rows, static_cast<int>(place),
                            Expected(type(chosen[place]).kind, all[row][place]));
            }
        }
        ASSERT_EQ(row, all.size());
    }

    void compareCell(const QD_OrvelQueryHandle& rows, int field, const Expected& expected) {
        ++cells;
        ASSERT_EQ(textOf(rows, field), expected.text()) << expected.said();
        double real = 0;
        char buffer[64] = "?";
        if (rows->getDoubleField(field, real)) std::snprintf(buffer, sizeof buffer, "%.17g", real);
        ASSERT_TRUE(expected.doubleText() == "?" || expected.doubleText() == buffer)
            << expected.said() << " is not " << buffer;
        if (expected.isInteger()) {
            long long wide = 0;
            ASSERT_TRUE(rows->getInt64Field(field, wide));
            ASSERT_EQ(std::to_string(wide), expected.said());
            int narrow = 0;
            ASSERT_EQ(rows->getIntField(field, narrow), wide == static_cast<int>(wide));
        }
        unsigned char bytes[1024];
        unsigned int size = sizeof bytes;
        if (!expected.bytes().empty()) {
            ASSERT_TRUE(rows->getBlobField(field, size, bytes));
            ASSERT_EQ(std::string(reinterpret_cast<char*>(bytes), size), expected.bytes());
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, NativeValues, testing::Values(postgresqlContext, mariadbContext),
                         contextName);

TEST_P(NativeValues, areWhatTheServerSays) {
    const Client client(isOn(postgresql), portOf(GetParam()));
    const unsigned int seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    for (int round = 0; cells < enough && !HasFatalFailure(); ++round) {
        makeTable(random, round == 0 ? 0 : static_cast<int>(random() % (mostRows + 1)));
        for (int choice = 0; choice < 3; ++choice) {
            std::vector<int> chosen;
            for (int column = 0; column < std::ssize(types()); ++column) {
                if (choice == 0 || (random() % 2 == 0 && (choice == 2 || type(column).isKnownInBinary))) {
                    chosen.push_back(column);
                }
            }
            if (chosen.empty()) continue;
            const std::string sql = "SELECT " + columnsOf(chosen, false) + " FROM r ORDER BY id";
            const Answer all = client.ask("SELECT " + columnsOf(chosen, true) + " FROM r ORDER BY id");
            const auto made = command(sql);
            for (int execution = 0; execution < 2; ++execution) {
                compare(query(sql), chosen, all);
                compare(made->execQuery(0), chosen, all);
            }
        }
    }
    std::printf("%ld cells compared\n", cells);
}

} // namespace
