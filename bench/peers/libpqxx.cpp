#include <pqxx/pqxx>

#include "../rival.h"

namespace {

using namespace bench;

class Libpqxx : public Rival {
public:
    explicit Libpqxx(const Place& /*place*/)
        : session("host=" + setting("ORVEL_BENCH_HOST") + " port=" + setting("ORVEL_BENCH_PORT") +
                  " dbname=" + setting("ORVEL_BENCH_DATABASE") + " user=" + setting("ORVEL_BENCH_USER") +
                  " password=" + setting("ORVEL_BENCH_PASSWORD")) {}

    void insert(int times, Sum& sum) override {
        session.prepare("insert",
                        "INSERT INTO copies (id, serial, price, name, data) VALUES ($1, $2, $3, $4, $5)");
        pqxx::work work(session);
        const pqxx::binarystring data(partData, sizeof partData);
        for (int id = 1; id <= times; ++id) {
            sum.add(static_cast<long long>(
                work.exec_prepared("insert", id, serialOf(id), priceOf(id), partName, data).affected_rows()));
        }
    }

    void scan(int times, Sum& sum) override { scanColumns(times, sum, 0, 1, 2, 3, 4); }
    void scanByName(int times, Sum& sum) override {
        scanColumns(times, sum, "id", "serial", "price", "name", "data");
    }

    void lookup(int times, Sum& sum) override {
        session.prepare("lookup", "SELECT serial, price, name FROM parts WHERE id = $1");
        pqxx::work work(session);
        for (int n = 0; n < times; ++n) {
            const pqxx::result row = work.exec_prepared("lookup", wanted(n));
            sum.add(row[0][0].as<long long>());
            sum.add(row[0][1].as<double>());
            sum.add(row[0][2].as<std::string>());
        }
    }

    void oneShot(int times, Sum& sum) override {
        pqxx::work work(session);
        for (; times > 0; --times) {
            sum.add(static_cast<long long>(work.exec(countOne)[0][0].as<int>()));
        }
    }

private:
    pqxx::connection session;

    template <class Column>
    void scanColumns(int times, Sum& sum, Column first, Column second, Column third, Column fourth,
                     Column fifth) {
        for (; times > 0; --times) {
            pqxx::nontransaction work(session);
            const pqxx::result all = work.exec(selectAll);
            for (const pqxx::row& row : all) {
                sum.add(static_cast<long long>(row[first].template as<int>()));
                sum.add(row[second].template as<long long>());
                sum.add(row[third].template as<double>());
                sum.add(row[fourth].template as<std::string>());
                const pqxx::binarystring data(row[fifth]);
                sum.add(data.data(), data.size());
            }
        }
    }
};

const Registered entry(Entry{"postgresql", "libpqxx", opened<Libpqxx>});

} // namespace
