// Wires that are cut, wires on which nothing comes any more, and servers that have stopped: no wait without a bound, and no
// wrong word about a commit.

#include <csignal>

#include <chrono>
#include <fstream>
#include <optional>

#include "QD_OrvelTransaction.h"
#include "tests/ado/behaviour.h"
#include "tests/support/leaks.h"
#include "tests/support/proxy.h"

namespace {

using namespace orvel::tests;
using Clock = std::chrono::steady_clock;

constexpr unsigned long inDoubt = 0x8004D016;
constexpr int timeout = 1000;
/// The timeout, the time for a cancelling, and what the machine takes.
constexpr std::chrono::milliseconds longest{timeout + 5000 + 2500};

class NativeWire : public Behaviour {
protected:
    void SetUp() override {
        Behaviour::SetUp();
        run("CREATE TABLE t (id INTEGER PRIMARY KEY, v VARCHAR(200))");
        run(std::string("INSERT INTO t SELECT g, repeat('x', 200) FROM ") +
            mine({"", "", "generate_series(1, 300) g", "(SELECT seq AS g FROM seq_1_to_300) s"}));
    }

    int serverPort() const { return std::stoi(portOf(GetParam())); }

    /// The error of a step, which must not take longer than it may.
    template <class Step>
    Error timed(Step step) {
        const auto began = Clock::now();
        const Error error = errorOf(step);
        EXPECT_LT(Clock::now() - began, longest) << error.provText;
        return error;
    }

    /// Connects, scans, and commits a row of that number; what the commit said, when it came to that.
    std::optional<Error> work(const Proxy& proxy, int row) {
        QD_OrvelConnectionHandle handle = through(proxy);
        handle->setBusyTimeout(timeout);
        if (timed([&] { open(handle); }).code != -1) return {};
        std::optional<Error> committed;
        timed([&] {
            const auto rows = handle->execQuery("SELECT id, v FROM t WHERE id <= 300 ORDER BY id", 0);
            for (; !rows->eof(); rows->nextRow()) textOf(rows, 1);
        });
        timed([&] {
            const LeaksAllowed leaks; // of a transaction whose begin fails in its construction
            QD_OrvelTransaction transaction(handle, 0, true, "");
            with(handle->createCommand("INSERT INTO t VALUES (?, ?)", 0), row, "new")->execNoQuery(0);
            committed = timed([&] { transaction.commit(); });
        });
        timed([&] { handle->close(); });
        return committed;
    }

    /// The one that serves the connection: its own, or that of the whole server.
    static int serverProcess(const QD_OrvelConnectionHandle& handle) {
        if (isOn(postgresql)) return handle->execQueryScalar("SELECT pg_backend_pid()", 0);
        int process = 0;
        std::ifstream(textOf(handle->execQuery("SELECT @@pid_file", 0))) >> process;
        return process;
    }

    QD_OrvelConnectionHandle through(const Proxy& proxy) const {
        return QD_OrvelConnection::create(QD_ORVEL_PROVIDER_ADO, config.c_str(), nullptr, GetParam().key,
                                          std::to_string(proxy.port()).c_str());
    }

    /// A commit that succeeded is there, one that failed is not, and of one in doubt nobody knows.
    void expectTruth(const std::optional<Error>& committed, int row) {
        const int there = ask("SELECT COUNT(*) FROM t WHERE id = " + std::to_string(row));
        if (!committed) {
            EXPECT_EQ(there, 0) << row;
        } else if (committed->hr != inDoubt) {
            EXPECT_EQ(there, committed->code == -1 ? 1 : 0) << row << committed->provText;
        }
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, NativeWire, testing::Values(postgresqlContext, mariadbContext),
                         contextName);

TEST_P(NativeWire, thatIsCutLosesTheSessionAndTellsTheTruth) {
    std::size_t all = 0;
    {
        const Proxy whole(serverPort(), Proxy::Fault::none, 0);
        EXPECT_EQ(work(whole, 1000)->code, -1);
        all = whole.bytes();
    }
    int doubts = 0;
    for (int cut = 0; cut < 200; ++cut) { // most of them where the transaction is
        const std::size_t scanned = all - std::min<std::size_t>(all, 600);
        const std::size_t after = cut < 100
                                      ? all * static_cast<std::size_t>(cut) / 100
                                      : scanned + (all - scanned) * static_cast<std::size_t>(cut - 100) / 100;
        const Proxy proxy(serverPort(), Proxy::Fault::cut, after);
        const auto committed = work(proxy, 1001 + cut);
        doubts += committed && committed->hr == inDoubt ? 1 : 0;
        expectTruth(committed, 1001 + cut);
    }
    EXPECT_GT(doubts, 0) << "a cut while the commit is answered was among them";
}

TEST_P(NativeWire, onWhichNothingComesIsGivenUpInTime) {
    std::size_t all = 0;
    {
        const Proxy whole(serverPort(), Proxy::Fault::none, 0);
        work(whole, 1000);
        all = whole.bytes();
    }
    for (const std::size_t before : {all - 10, std::size_t{30000}, std::size_t{60}, std::size_t{1}}) {
        const int row = 2000 + static_cast<int>(before % 1000);
        const Proxy proxy(serverPort(), Proxy::Fault::silence, all - before);
        expectTruth(work(proxy, row), row);
    }
}

TEST_P(NativeWire, toAServerThatHasStoppedIsGivenUpInTime) {
    QD_OrvelConnectionHandle handle = closed();
    handle->setBusyTimeout(timeout);
    open(handle);
    const int process = serverProcess(handle);
    ASSERT_GT(process, 1);
    ASSERT_EQ(kill(process, SIGSTOP), 0);
    EXPECT_EQ(timed([&] { handle->execQueryScalar("SELECT 1", 0); }).hr, 0x80040E31);
    EXPECT_EQ(timed([&] { handle->execQueryScalar("SELECT 1", 0); }).hr, 0x80004005);
    timed([&] { handle->close(); });
    kill(process, SIGCONT);
    open(handle);
    EXPECT_EQ(handle->execQueryScalar("SELECT 1", 0), 1);
}

} // namespace
