#include <Poco/Data/LOB.h>
#include <Poco/Data/RecordSet.h>
#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/Session.h>

#include "../rival.h"

namespace {

using namespace bench;
using namespace Poco::Data::Keywords;

class Poco_ : public Rival {
public:
    explicit Poco_(const Place& place)
        : session((Poco::Data::SQLite::Connector::registerConnector(), "SQLite"), place.database()) {}

    void insert(int times, Sum& sum) override {
        session.begin();
        int id = 0;
        Poco::Int64 serial = 0;
        double price = 0;
        std::string name;
        Poco::Data::BLOB data(partData, sizeof partData);
        Poco::Data::Statement row(session);
        row << insertFive, use(id), use(serial), use(price), use(name), use(data);
        for (id = 1; id <= times; ++id) {
            serial = serialOf(id);
            price = priceOf(id);
            name = partName;
            sum.add(static_cast<long long>(row.execute()));
        }
        session.rollback();
    }

    void scan(int times, Sum& sum) override {
        int id = 0;
        Poco::Int64 serial = 0;
        double price = 0;
        std::string name;
        Poco::Data::BLOB data;
        for (; times > 0; --times) {
            Poco::Data::Statement row(session);
            row << selectAll, into(id), into(serial), into(price), into(name), into(data), range(0, 1);
            while (!row.done() && row.execute() > 0) {
                sum.add(static_cast<long long>(id));
                sum.add(static_cast<long long>(serial));
                sum.add(price);
                sum.add(name);
                sum.add(data.rawContent(), data.size());
            }
        }
    }

    void scanByName(int times, Sum& sum) override {
        for (; times > 0; --times) {
            Poco::Data::Statement statement(session);
            statement << selectAll, now;
            Poco::Data::RecordSet row(statement);
            for (bool more = row.moveFirst(); more; more = row.moveNext()) {
                sum.add(row["id"].convert<long long>());
                sum.add(row["serial"].convert<long long>());
                sum.add(row["price"].convert<double>());
                sum.add(row["name"].convert<std::string>());
                const auto data = row["data"].extract<Poco::Data::BLOB>();
                sum.add(data.rawContent(), data.size());
            }
        }
    }

    void lookup(int times, Sum& sum) override {
        session.begin();
        int id = 0;
        Poco::Int64 serial = 0;
        double price = 0;
        std::string name;
        Poco::Data::Statement row(session);
        row << selectOne, use(id), into(serial), into(price), into(name), range(0, 1);
        for (int n = 0; n < times; ++n) {
            id = wanted(n);
            row.execute();
            sum.add(static_cast<long long>(serial));
            sum.add(price);
            sum.add(name);
        }
        session.rollback();
    }

    void oneShot(int times, Sum& sum) override {
        const bool inTransaction = times > 1;
        if (inTransaction) {
            session.begin();
        }
        for (; times > 0; --times) {
            int value = 0;
            session << countOne, into(value), now;
            sum.add(static_cast<long long>(value));
        }
        if (inTransaction) {
            session.rollback();
        }
    }

private:
    Poco::Data::Session session;
};

const Registered entry(Entry{"sqlite", "Poco", opened<Poco_>});

} // namespace
