// Writes numbered rows, each in a transaction of its own, and goes on when the server is lost: with whichever server of
// the configuration answers next.
//
//     failover CONFIGURATION_FILE DATABASE ROWS ACKNOWLEDGEMENTS_FILE
//
// It ends when the table has ROWS rows more than it began with, or at SIGTERM or Ctrl-C. The acknowledgements file gets
// the number of each row that it was told is committed. Which engine that is, and on which servers, stands in the
// configuration file.

#include <orvel/QD_OrvelInterface.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

/// How long one row may take, the wait for a server included.
constexpr auto patience = std::chrono::seconds(60);
constexpr auto pauseBeforeNextAttempt = std::chrono::milliseconds(50);

/// The status of a commit whose answer was lost: its rows are there, or they are not.
constexpr unsigned long outcomeUnknown = 0x8004D016;

volatile std::sig_atomic_t stopWanted = 0;

extern "C" void wantStop(int /*signal*/) { stopWanted = 1; }

struct Arguments {
    std::string configuration;
    std::string database;
    int rows;
    std::string acknowledgements;
};

Arguments parsed(int count, char** values) {
    if (count != 5) {
        throw std::invalid_argument("usage: failover CONFIGURATION_FILE DATABASE ROWS ACKNOWLEDGEMENTS_FILE");
    }
    return {values[1], values[2], std::stoi(values[3]), values[4]};
}

/// All that is known of a failure, in one line.
void report(const QD_OrvelException& error) {
    std::string text = error.provErrorString();
    std::ranges::replace(text, '\n', ' ');
    std::cout << "error " << error.errorCode() << " (" << errorText(error.errorCode()) << "), engine "
              << error.provErrorCode() << ", status " << std::hex << std::uppercase << error.hrErrorCode()
              << std::dec << ": " << text << "\n"
              << std::flush;
}

class Writer {
public:
    explicit Writer(const Arguments& given)
        : arguments(given), acknowledgements(given.acknowledgements, std::ios::app) {
        if (!acknowledgements) {
            throw std::runtime_error("cannot write " + given.acknowledgements);
        }
    }

    /// A failure here is the configuration's or the user's: nothing is tried again.
    void begin() {
        connect();
        if (!connection->tableExists("journal")) {
            connection->execNoQuery("CREATE TABLE journal (number INTEGER PRIMARY KEY)", 0);
        }
        last = connection->execQueryScalar("SELECT MAX(number) FROM journal", 0);
    }

    void write() {
        for (int left = arguments.rows; left > 0 && stopWanted == 0; --left) {
            writeSurely(++last);
            ++written;
        }
    }

    void summarise() const {
        std::cout << written << " rows written, " << connections << " connections, " << errors << " errors, "
                  << unknownFound << " commits without an answer found, " << unknownMissing << " not found\n"
                  << std::flush;
    }

private:
    // docs/scaling.md shows from here
    /// Writes one row, on as many connections as it takes, and never twice.
    void writeSurely(int number) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        for (bool unknown = false;;) {
            try {
                if (connection.isNull()) {
                    connect();
                }
                if (unknown && isThere(number)) {
                    ++unknownFound;
                    return;
                }
                unknownMissing += unknown ? 1 : 0;
                unknown = false;
                insert(number);
                acknowledgements << number << "\n" << std::flush;
                return;
            } catch (const QD_OrvelException& error) {
                report(error);
                ++errors;
                unknown = unknown || error.hrErrorCode() == outcomeUnknown;
                insertion.release();
                connection.release(); // the next attempt makes another
                if (std::chrono::steady_clock::now() > deadline) {
                    throw;
                }
            }
            std::this_thread::sleep_for(pauseBeforeNextAttempt);
        }
    }

    /// The whole transaction: what of it was not committed is never done in part.
    void insert(int number) {
        QD_OrvelTransaction transaction(connection, QD_ORVEL_TRANSACTION_DEFERRED, false, "");
        transaction.begin(); // not in the constructor, which keeps the connection when this fails
        if (insertion.isNull()) {
            insertion = connection->createCommand("INSERT INTO journal VALUES (?)", 0);
        }
        insertion->resetParams();
        insertion->addIntParam(number);
        insertion->execNoQuery(0);
        transaction.commit();
    }

    /// Reading never throws; without a number the answer was lost, which is not the answer "no".
    bool isThere(int number) {
        const std::string sql = "SELECT COUNT(*) FROM journal WHERE number = " + std::to_string(number);
        int count = 0;
        if (!connection->execQuery(sql.c_str(), 0)->getIntField(0, count)) {
            throw QD_OrvelException(QD_ORVEL_ERR_SQL_QUERY, "isThere", 0, "the answer was lost", 0);
        }
        return count > 0;
    }
    // docs/scaling.md shows up to here

    void connect() {
        auto made =
            QD_OrvelConnection::create(QD_ORVEL_PROVIDER_CONFIG_DEFAULT, arguments.configuration.c_str());
        made->open(arguments.database.c_str(), "", 0);
        const std::string name = serverName(made);
        std::cout << "connected to " << name << "\n" << std::flush;
        connection = made;
        ++connections;
    }

    /// Asks what the configuration says to ask; where it says nothing, there is one server.
    static std::string serverName(QD_OrvelConnectionHandle& made) {
        std::string name;
        std::string sql;
        made->getDBCommand("ServerName", sql, false);
        if (sql.empty() || !made->execQuery(sql.c_str(), 0)->getStringField(0, name)) {
            name = made->getProvider();
        }
        return name;
    }

    Arguments arguments;
    std::ofstream acknowledgements;
    QD_OrvelConnectionHandle connection;
    QD_OrvelCommandHandle insertion; ///< prepared, as long as the connection lives
    int last = 0;
    int written = 0;
    int connections = 0;
    int errors = 0;
    int unknownFound = 0;
    int unknownMissing = 0;
};

void run(const Arguments& arguments) {
    Writer writer(arguments);
    writer.begin();
    writer.write();
    writer.summarise();
}

} // namespace

int main(int argumentCount, char** argumentValues) {
    std::signal(SIGTERM, wantStop);
    std::signal(SIGINT, wantStop);
    try {
        run(parsed(argumentCount, argumentValues));
        return EXIT_SUCCESS;
    } catch (QD_OrvelException& error) {
        std::cerr << "failover: " << error.errorMessage() << "\n";
    } catch (const std::exception& error) {
        std::cerr << "failover: not an exception of the library: " << error.what() << "\n";
    }
    return EXIT_FAILURE;
}
