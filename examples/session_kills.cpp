// Writes from several connections at once while their sessions are killed at random moments.
//
//     session_kills CONFIGURATION_FILE ENGINE PORT DATABASE SECONDS OWN_SESSION KILL_SESSION
//
// OWN_SESSION is the query for the number of the session it runs in, KILL_SESSION the statement that kills the session whose
// number is put behind it. Each transaction writes two rows with its number. Standard output tells what its writer was told
// of it, one line a transaction: number, flag, outcome, the step that was reached, the code and the status of the failure.

#include <orvel/QD_OrvelInterface.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <iostream>
#include <random>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int writers = 4;
constexpr int numbersOfAWriter = 100'000'000;
constexpr int longestPause = 30; // milliseconds between two kills
constexpr int oneInIsGivenUp = 16;

/// The status of a commit whose answer was lost: its rows are there, or they are not.
constexpr unsigned long outcomeUnknown = 0x8004D016;
constexpr unsigned long noSuchSession = 1094; // MariaDB's code: it has ended by itself

struct Arguments {
    std::string configuration, engine, port, database;
    Clock::time_point deadline;
    std::string ownSession, killSession;
};

/// The session of each writer that has not been killed yet, or 0.
std::array<std::atomic<int>, writers> sessions;

QD_OrvelConnectionHandle connected(const Arguments& given) {
    auto connection = QD_OrvelConnection::create(QD_ORVEL_PROVIDER_ADO, given.configuration.c_str(),
                                                 "127.0.0.1", given.engine.c_str(), given.port.c_str());
    connection->open(given.database.c_str(), "", 0);
    return connection;
}

class Writer {
public:
    Writer(const Arguments& arguments, int which)
        : given(arguments),
          session(sessions.at(static_cast<std::size_t>(which))),
          number(which * numbersOfAWriter) {}

    std::string write() {
        while (Clock::now() < given.deadline) {
            ++number;
            const bool immediate = number % 2 != 0;
            told << number << (immediate ? " IMMEDIATE " : " DEFERRED ");
            writeOne(immediate ? QD_ORVEL_TRANSACTION_IMMEDIATE : QD_ORVEL_TRANSACTION_DEFERRED);
        }
        session = 0;
        return told.str();
    }

private:
    void writeOne(unsigned int flag) {
        try {
            transact(flag);
        } catch (const QD_OrvelException& error) {
            told << (error.hrErrorCode() == outcomeUnknown ? "in-doubt " : "failed ") << step << " "
                 << error.errorCode() << " " << std::hex << error.hrErrorCode() << std::dec << "\n";
            if (error.errorCode() != QD_ORVEL_ERR_BUSY || step == std::string("begin")) {
                session = 0;
                insertion.release();
                connection.release();
            }
        }
    }

    void transact(unsigned int flag) {
        step = "open";
        if (connection.isNull()) {
            connect();
        }
        QD_OrvelTransaction transaction(connection, flag, false, "");
        step = "begin";
        transaction.begin();
        step = "statement";
        connection->execNoQuery(("INSERT INTO chaos VALUES (" + std::to_string(number) + ", 1)").c_str(), 0);
        insertion->resetParams();
        insertion->addIntParam(number);
        insertion->execNoQuery(0);
        if (number / 2 % oneInIsGivenUp == 0) {
            told << "failed given-up 0 0\n";
            return;
        }
        step = "commit";
        transaction.commit();
        told << "acknowledged commit 0 0\n";
    }

    void connect() {
        auto made = connected(given);
        insertion = made->createCommand("INSERT INTO chaos VALUES (?, 2)", 0);
        session = made->execQueryScalar(given.ownSession.c_str(), 0);
        connection = made;
    }

    const Arguments& given;
    std::atomic<int>& session;
    int number;
    const char* step = "";
    std::ostringstream told;
    QD_OrvelConnectionHandle connection;
    QD_OrvelCommandHandle insertion;
};

/// Answers how many sessions it has killed.
int kill(const QD_OrvelConnectionHandle& connection, const Arguments& given) {
    std::mt19937 random{std::random_device{}()};
    int killed = 0;
    while (Clock::now() < given.deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % (longestPause + 1)));
        const int session = sessions.at(random() % writers).exchange(0);
        if (session == 0) {
            continue;
        }
        try {
            connection->execNoQuery((given.killSession + std::to_string(session)).c_str(), 0);
            ++killed;
        } catch (const QD_OrvelException& error) {
            if (error.provErrorCode() != noSuchSession) {
                throw;
            }
        }
    }
    return killed;
}

void run(const Arguments& given) {
    auto connection = connected(given);
    connection->execNoQuery("DROP TABLE IF EXISTS chaos", 0);
    connection->execNoQuery("CREATE TABLE chaos (number INTEGER, part INTEGER, PRIMARY KEY (number, part))",
                            0);
    std::vector<std::future<std::string>> told;
    told.reserve(writers);
    for (int which = 0; which < writers; ++which) {
        told.push_back(std::async(std::launch::async, [&, which] { return Writer(given, which).write(); }));
    }
    const int killed = kill(connection, given);
    for (std::future<std::string>& one : told) {
        std::cout << one.get();
    }
    std::cerr << killed << " sessions killed\n";
}

} // namespace

int main(int count, char** values) {
    try {
        if (count != 8) {
            throw std::invalid_argument("seven arguments are needed");
        }
        const std::span<char*> given(values, static_cast<std::size_t>(count));
        run({given[1], given[2], given[3], given[4], Clock::now() + std::chrono::seconds(std::stoi(given[5])),
             given[6], given[7]});
        return EXIT_SUCCESS;
    } catch (QD_OrvelException& error) {
        std::cerr << "session_kills: " << error.errorMessage() << "\n";
    } catch (const std::exception& error) {
        std::cerr << "session_kills: not an exception of the library: " << error.what() << "\n";
    }
    return EXIT_FAILURE;
}
