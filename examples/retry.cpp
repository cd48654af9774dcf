// Runs a whole transaction again while the database is busy. It needs OrvelConfig.xml in the current
// directory.

#include <orvel/QD_OrvelInterface.h>

#include <cstdio>
#include <optional>

namespace {

// docs/errors.md shows from here
/// Does `work` in one transaction, and all of it again while the database is busy.
template <class Work, class Pause>
void inTransaction(int attempts, Work work, Pause pause) {
    for (;; pause()) {
        try {
            auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT);
            connection->open("Parts", "", 0);
            connection->setBusyTimeout(100); // milliseconds
            QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_IMMEDIATE, false, "");
            transaction.begin(); // not in the constructor, which keeps the connection when this fails
            work(connection);
            transaction.commit();
            return;
        } catch (QD_OrvelException& error) {
            if (error.errorCode() != QD_ORVEL_ERR_BUSY || --attempts == 0) {
                throw;
            }
        }
    }
}
// docs/errors.md shows up to here

} // namespace

int main() try {
    auto other = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT);
    other->open("Parts", "", 0);
    other->execNoQuery("CREATE TABLE IF NOT EXISTS parts (id INTEGER PRIMARY KEY, name TEXT)", 0);
    std::optional<QD_OrvelTransaction> obstacle;
    obstacle.emplace(other, QD_ORVEL_TRANSACTION_IMMEDIATE, true, "");

    const auto work = [](QD_OrvelConnectionHandle& connection) {
        connection->execNoQuery("INSERT INTO parts (name) VALUES ('lock washer')", 0);
    };
    const auto pause = [&] {
        std::puts("busy, once more");
        obstacle.reset(); // an application waits here, longer each time
    };
    inTransaction(3, work, pause);
    std::printf("%d rows\n", other->getTableRowCount("parts"));
} catch (QD_OrvelException& error) {
    std::fprintf(stderr, "%s\n", error.errorMessage());
    return 1;
}
