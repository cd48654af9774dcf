// Random values of every built-in type, read by each getter and compared with what the server's own client library says.

#include <libpq-fe.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>

#include "tests/ado/behaviour.h"

namespace {

using namespace orvel::tests;

struct Type {
    const char* name;
    const char* random; ///< an expression
    bool isKnownInBinary;
};

const Type types[] = {
    {"BOOLEAN", "random() < 0.5", true},
    {"INT2", "(random() * 65535 - 32768)::int2", true},
    {"INT4", "(random() * 4294967295 - 2147483648)::int8", true},
    {"INT8", "((random() - 0.5) * 18e18)::int8", true},
    {"OID", "(random() * 4e9)::int8", true},
    {"FLOAT4", "(random() - 0.5) * 10 ^ (random() * 60 - 30)", true},
    {"FLOAT8",
     "CASE WHEN random() < 0.9 THEN (random() - 0.5) * 10 ^ (random() * 400 - 200) ELSE 'Infinity' END",
     true},
    {"NUMERIC",
     "CASE WHEN random() < 0.9 THEN round(((random() - 0.5)::numeric * 10::numeric ^ (random() * 60 - "
     "30)::int), "
     "(random() * 40)::int) ELSE 'NaN' END",
     true},
    {"NUMERIC(20,5)", "(random() - 0.5)::numeric * 1e15", true},
    {"TEXT", "repeat(chr((random() * 900 + 33)::int), (random() * 300)::int)", true},
    {"VARCHAR(30)", "repeat('\xC3\xA4', (random() * 30)::int)", true},
    {"CHAR(8)", "repeat('x', (random() * 8)::int)", true},
    {"NAME", "repeat('n', (random() * 60)::int)", true},
    {"BYTEA", "decode(repeat(lpad(to_hex((random() * 255)::int), 2, '0'), (random() * 200)::int), 'hex')",
     true},
    {"DATE",
     "CASE WHEN random() < 0.9 THEN date '2000-01-01' + ((random() - 0.5) * 4500000)::int ELSE 'infinity' "
     "END",
     true},
    {"TIME", "time '00:00' + random() * interval '1 day'", true},
    {"TIMESTAMP",
     "CASE WHEN random() < 0.9 THEN timestamp '2000-01-01' + (random() - 0.5) * interval '12000 years' ELSE "
     "'-infinity' END",
     true},
    {"UUID", "gen_random_uuid()", true},
    {"JSONB", "jsonb_build_object('a', random())", true},
    {"JSON", "json_build_array(random(), 'x')", true},
    {"TIMESTAMPTZ", "timestamptz '2000-01-01' + (random() - 0.5) * interval '12000 years'", false},
    {"TIMETZ", "timetz '00:00+05:30' + random() * interval '1 day'", false},
    {"INTERVAL", "(random() - 0.5) * interval '100 years'", false},
    {"INT4[]", "ARRAY[(random() * 9)::int, NULL]", false},
    {"INT4RANGE", "int4range(0, (random() * 9)::int)", false},
    {"MONEY", "((random() - 0.5) * 1e16)::numeric::money", false},
    {"INET", "'10.0.0.1'::inet + (random() * 9999)::int", false},
    {"XML", "xmlelement(name a, random())", false},
    {"BIT(5)", "(random() * 31)::int::bit(5)", false},
};

/// What the getters are to answer, by the rules of conversion, for what the server says.
class Expected {
public:
    Expected(std::string typeName, const char* said) : type(std::move(typeName)), isNull(said == nullptr) {
        said_ = isNull ? "" : said;
        real =
            isReal() || type.starts_with("NUMERIC") || isInteger() ? std::strtod(said_.c_str(), nullptr) : 0;
    }

    std::string text() const {
        if (isNull || type == "BYTEA") return "(none)";
        if (type == "BOOLEAN") return said_ == "t" ? "-1" : "0";
        if (isReal()) return written(type == "FLOAT4" ? 7 : 15);
        if (type == "TIMESTAMPTZ" && !said_.ends_with("BC") && said_.find('-') == 4) {
            return said_.substr(0, said_.find_first_of("+-", 11));
        }
        return said_;
    }
    std::string doubleText() const {
        if (isNull || !(isReal() || type.starts_with("NUMERIC") || isInteger()) ||
            (std::isnan(real) && !isReal())) {
            return "?";
        }
        // A single is read as the double that it is.
        const double value = type == "FLOAT4" ? double{std::strtof(said_.c_str(), nullptr)} : real;
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.17g", value);
        return buffer;
    }
    std::string bytes() const {
        std::string all;
        for (std::size_t at = 2; type == "BYTEA" && at < said_.size(); at += 2) {
            all += static_cast<char>(std::stoi(said_.substr(at, 2), nullptr, 16));
        }
        return all;
    }
    bool isInteger() const { return type.starts_with("INT") && type.size() == 4 && type != "INT4["; }
    const std::string& said() const { return said_; }

private:
    std::string type;
    std::string said_;
    bool isNull;
    double real = 0;

    bool isReal() const { return type.starts_with("FLOAT"); }
    std::string written(int digits) const {
        if (!std::isfinite(real)) return real < 0 ? "-INF" : std::isnan(real) ? "NAN" : "INF";
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.*G", digits,
                      type == "FLOAT4" ? double{std::strtof(said_.c_str(), nullptr)} : real);
        return buffer;
    }
};

class NativeValues : public Behaviour {
protected:
    struct Finish {
        void operator()(PGconn* handle) const { PQfinish(handle); }
        void operator()(PGresult* result) const { PQclear(result); }
    };
    using Answer = std::unique_ptr<PGresult, Finish>;
    std::unique_ptr<PGconn, Finish> server;
    long cells = 0;

    Answer said(const std::string& sql) { return Answer(PQexec(server.get(), sql.c_str())); }

    void SetUp() override {
        Behaviour::SetUp();
        // NOLINTBEGIN(concurrency-mt-unsafe): nobody sets them
        const std::string login = "host=127.0.0.1 dbname=Behaviour port=" + portOf(GetParam()) +
                                  " user=" + std::getenv("ORVEL_TEST_USER") +
                                  " password=" + std::getenv("ORVEL_TEST_PASSWORD");
        // NOLINTEND(concurrency-mt-unsafe)
        server.reset(PQconnectdb(login.c_str()));
        ASSERT_EQ(PQstatus(server.get()), CONNECTION_OK) << PQerrorMessage(server.get());
    }

    void TearDown() override {
        server.reset(); // a database in use cannot be dropped
        Behaviour::TearDown();
    }

    static std::string columnsOf(const std::vector<int>& chosen) {
        std::string list;
        for (const int column : chosen) list += (list.empty() ? "c" : ", c") + std::to_string(column);
        return list;
    }

    void makeTable(std::mt19937& random, int rows) {
        std::string columns, values;
        for (std::size_t column = 0; column < std::size(types); ++column) {
            columns += ", c" + std::to_string(column) + " " + types[column].name;
            values += std::string(", CASE WHEN random() < 0.85 THEN (") + types[column].random +
                      ")::" + types[column].name + " END";
        }
        run("DROP TABLE IF EXISTS r");
        run("CREATE TABLE r (id INTEGER PRIMARY KEY" + columns + ")");
        run("SELECT setseed(" + std::to_string(static_cast<double>(random() % 1000) / 1000) + ")");
        run("INSERT INTO r SELECT g" + values + " FROM generate_series(1, " + std::to_string(rows) + ") g");
    }

    void compare(const QD_OrvelQueryHandle& rows, const std::vector<int>& chosen, const PGresult* all) {
        int row = 0;
        for (; !rows->eof(); rows->nextRow(), ++row) {
            for (std::size_t place = 0; place < chosen.size(); ++place) {
                const int field = static_cast<int>(place);
                const char* const text =
                    PQgetisnull(all, row, field) == 1 ? nullptr : PQgetvalue(all, row, field);
                compareCell(rows, field, Expected(types[chosen[place]].name, text));
            }
        }
        ASSERT_EQ(row, PQntuples(all));
    }

    void compareCell(const QD_OrvelQueryHandle& rows, int field, const Expected& expected) {
        ++cells;
        ASSERT_EQ(textOf(rows, field), expected.text()) << expected.said();
        double real = 0;
        char buffer[64] = "?";
        if (rows->getDoubleField(field, real)) std::snprintf(buffer, sizeof buffer, "%.17g", real);
        ASSERT_TRUE(expected.doubleText() == "?" || expected.doubleText() == buffer)
            << expected.said() << " is not " << buffer;
        if (expected.isInteger() && !expected.said().empty()) {
            long long wide = 0;
            ASSERT_TRUE(rows->getInt64Field(field, wide));
            ASSERT_EQ(std::to_string(wide), expected.said());
            int narrow = 0;
            ASSERT_EQ(rows->getIntField(field, narrow), wide == static_cast<int>(wide));
        }
        unsigned char bytes[256];
        unsigned int size = sizeof bytes;
        if (!expected.bytes().empty()) {
            ASSERT_TRUE(rows->getBlobField(field, size, bytes));
            ASSERT_EQ(std::string(reinterpret_cast<char*>(bytes), size), expected.bytes());
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, NativeValues, testing::Values(postgresqlContext), contextName);

TEST_P(NativeValues, areWhatTheServerSays) {
    const unsigned int seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    for (int round = 0; cells < 200000 && !HasFatalFailure(); ++round) {
        makeTable(random, round == 0 ? 0 : static_cast<int>(random() % 501));
        for (int choice = 0; choice < 3; ++choice) {
            std::vector<int> chosen;
            for (int column = 0; column < static_cast<int>(std::size(types)); ++column) {
                if (choice == 0 || (random() % 2 == 0 && (choice == 2 || types[column].isKnownInBinary))) {
                    chosen.push_back(column);
                }
            }
            if (chosen.empty()) continue;
            const std::string sql = "SELECT " + columnsOf(chosen) + " FROM r ORDER BY id";
            const Answer all = said(sql);
            compare(query(sql), chosen, all.get());
            const auto made = command(sql);
            for (int execution = 0; execution < 2; ++execution) {
                compare(made->execQuery(0), chosen, all.get());
            }
        }
    }
    std::printf("%ld cells compared\n", cells);
}

} // namespace
