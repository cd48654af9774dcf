#include <QtCore/QCoreApplication>
#include <QtCore/QVariant>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlError>
#include <QtSql/QSqlQuery>
#include <stdexcept>

#include "../rival.h"

namespace {

using namespace bench;

class Qt : public Rival {
public:
    explicit Qt(const Place& place) {
        static int none = 0;
        static QCoreApplication application(none, nullptr);
        db = QSqlDatabase::addDatabase("QSQLITE", name);
        db.setDatabaseName(QString::fromStdString(place.database()));
        require(db.open());
    }
    ~Qt() override {
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(name);
    }

    void insert(int times, Sum& sum) override {
        db.transaction();
        QSqlQuery row(db);
        row.prepare(insertFive);
        const QByteArray data =
            QByteArray::fromRawData(reinterpret_cast<const char*>(partData), sizeof partData);
        for (int id = 1; id <= times; ++id) {
            row.bindValue(0, id);
            row.bindValue(1, serialOf(id));
            row.bindValue(2, priceOf(id));
            row.bindValue(3, QString::fromUtf8(partName));
            row.bindValue(4, data);
            require(row.exec());
            sum.add(static_cast<long long>(row.numRowsAffected()));
        }
        db.rollback();
    }

    void scan(int times, Sum& sum) override { scanColumns(times, sum, 0, 1, 2, 3, 4); }
    void scanByName(int times, Sum& sum) override {
        scanColumns(times, sum, "id", "serial", "price", "name", "data");
    }

    void lookup(int times, Sum& sum) override {
        db.transaction();
        QSqlQuery row(db);
        row.setForwardOnly(true);
        row.prepare(selectOne);
        for (int n = 0; n < times; ++n) {
            row.bindValue(0, wanted(n));
            require(row.exec() && row.next());
            sum.add(row.value(0).toLongLong());
            sum.add(row.value(1).toDouble());
            sum.add(row.value(2).toString().toStdString());
        }
        db.rollback();
    }

    void oneShot(int times, Sum& sum) override {
        const bool inTransaction = times > 1 && db.transaction();
        for (; times > 0; --times) {
            QSqlQuery row(db);
            row.setForwardOnly(true);
            require(row.exec(countOne) && row.next());
            sum.add(static_cast<long long>(row.value(0).toInt()));
        }
        if (inTransaction) {
            db.rollback();
        }
    }

private:
    const QString name = "bench";
    QSqlDatabase db;

    void require(bool succeeded) const {
        if (!succeeded) {
            throw std::runtime_error("Qt: " + db.lastError().text().toStdString());
        }
    }

    template <class Column>
    void scanColumns(int times, Sum& sum, Column first, Column second, Column third, Column fourth,
                     Column fifth) {
        for (; times > 0; --times) {
            QSqlQuery row(db);
            row.setForwardOnly(true);
            require(row.exec(selectAll));
            while (row.next()) {
                sum.add(static_cast<long long>(row.value(first).toInt()));
                sum.add(row.value(second).toLongLong());
                sum.add(row.value(third).toDouble());
                sum.add(row.value(fourth).toString().toStdString());
                const QByteArray data = row.value(fifth).toByteArray();
                sum.add(data.constData(), static_cast<std::size_t>(data.size()));
            }
        }
    }
};

const Registered entry(Entry{"sqlite", "Qt", opened<Qt>});

} // namespace
