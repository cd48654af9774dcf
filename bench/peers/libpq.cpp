#include <libpq-fe.h>

#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include "../rival.h"

namespace {

using namespace bench;

struct Clear {
    void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, Clear>;

/// Results come in binary, row by row where there are many.
class Libpq : public Rival {
public:
    explicit Libpq(const Place& /*place*/)
        : session(PQsetdbLogin(setting("ORVEL_BENCH_HOST").c_str(), setting("ORVEL_BENCH_PORT").c_str(),
                               nullptr, nullptr, setting("ORVEL_BENCH_DATABASE").c_str(),
                               setting("ORVEL_BENCH_USER").c_str(),
                               setting("ORVEL_BENCH_PASSWORD").c_str())) {
        if (PQstatus(session) != CONNECTION_OK) {
            throw std::runtime_error(PQerrorMessage(session));
        }
    }
    ~Libpq() override { PQfinish(session); }

    void insert(int times, Sum& sum) override {
        checked(PQexec(session, "BEGIN"));
        checked(PQprepare(session, "insert",
                          "INSERT INTO copies (id, serial, price, name, data) VALUES ($1, $2, $3, $4, $5)", 0,
                          nullptr));
        for (int id = 1; id <= times; ++id) {
            const std::string numbers[] = {std::to_string(id), std::to_string(serialOf(id)),
                                           textOf(priceOf(id))};
            const char* const values[] = {numbers[0].c_str(), numbers[1].c_str(), numbers[2].c_str(),
                                          partName, reinterpret_cast<const char*>(partData)};
            const int lengths[] = {0, 0, 0, 0, sizeof partData};
            const int formats[] = {0, 0, 0, 0, 1};
            const Result done = checked(PQexecPrepared(session, "insert", 5, values, lengths, formats, 1));
            sum.add(static_cast<long long>(std::atoi(PQcmdTuples(done.get()))));
        }
        checked(PQexec(session, "ROLLBACK"));
    }

    void scan(int times, Sum& sum) override {
        std::string name;
        for (; times > 0; --times) {
            PQsendQueryParams(session, selectAll, 0, nullptr, nullptr, nullptr, nullptr, 1);
            PQsetSingleRowMode(session);
            while (const Result row = checked(PQgetResult(session))) {
                if (PQntuples(row.get()) == 0) {
                    continue;
                }
                sum.add(static_cast<long long>(static_cast<int>(bits<std::uint32_t>(row, 0))));
                sum.add(static_cast<long long>(bits<std::uint64_t>(row, 1)));
                sum.add(real(row, 2));
                name.assign(PQgetvalue(row.get(), 0, 3), length(row, 3));
                sum.add(name);
                sum.add(PQgetvalue(row.get(), 0, 4), length(row, 4));
            }
        }
    }

    void lookup(int times, Sum& sum) override {
        checked(PQexec(session, "BEGIN"));
        checked(
            PQprepare(session, "lookup", "SELECT serial, price, name FROM parts WHERE id = $1", 0, nullptr));
        std::string name;
        for (int n = 0; n < times; ++n) {
            const std::string id = std::to_string(wanted(n));
            const char* const values[] = {id.c_str()};
            const Result row = checked(PQexecPrepared(session, "lookup", 1, values, nullptr, nullptr, 1));
            sum.add(static_cast<long long>(bits<std::uint64_t>(row, 0)));
            sum.add(real(row, 1));
            name.assign(PQgetvalue(row.get(), 0, 2), length(row, 2));
            sum.add(name);
        }
        checked(PQexec(session, "ROLLBACK"));
    }

    void oneShot(int times, Sum& sum) override {
        const bool inTransaction = times > 1;
        if (inTransaction) {
            checked(PQexec(session, "BEGIN"));
        }
        for (; times > 0; --times) {
            const Result row = checked(PQexec(session, countOne));
            sum.add(static_cast<long long>(std::atoi(PQgetvalue(row.get(), 0, 0))));
        }
        if (inTransaction) {
            checked(PQexec(session, "ROLLBACK"));
        }
    }

private:
    PGconn* session;

    Result checked(PGresult* result) const {
        const ExecStatusType status = PQresultStatus(result);
        if (result != nullptr && status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK &&
            status != PGRES_SINGLE_TUPLE) {
            throw std::runtime_error(PQerrorMessage(session));
        }
        return Result(result);
    }
    static std::string textOf(double value) {
        std::array<char, 32> text{};
        return {text.data(), std::to_chars(text.begin(), text.end(), value).ptr};
    }
    static std::size_t length(const Result& row, int column) {
        return static_cast<std::size_t>(PQgetlength(row.get(), 0, column));
    }
    /// Big-endian on the wire.
    template <class Unsigned>
    static Unsigned bits(const Result& row, int column) {
        Unsigned value = 0;
        std::memcpy(&value, PQgetvalue(row.get(), 0, column), sizeof value);
        return sizeof value == 4 ? static_cast<Unsigned>(__builtin_bswap32(static_cast<std::uint32_t>(value)))
                                 : static_cast<Unsigned>(__builtin_bswap64(value));
    }
    static double real(const Result& row, int column) {
        const auto raw = bits<std::uint64_t>(row, column);
        double value = 0;
        std::memcpy(&value, &raw, sizeof value);
        return value;
    }
};

const Registered entry(Entry{"postgresql", "libpq", opened<Libpq>});

} // namespace
