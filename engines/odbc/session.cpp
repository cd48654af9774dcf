#include "engines/odbc/session.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstring>
#include <limits>
#include <mutex>

#include "engines/odbc/connection_string.h"
#include "engines/odbc/provider.h"
#include "engines/odbc/statement.h"
#include "platform/ado/constants.h"
#include "platform/ado/status.h"
#include "platform/secret_text.h"

namespace {

using namespace orvel::platform;
using namespace orvel::engines::odbc;

/// Serialises what loads and unloads drivers: the manager does not do it safely.
std::mutex& driverMutex() {
    static auto* mutex = new std::mutex; // never destroyed: a static connection may be the last to close
    return *mutex;
}

/// Puts the process's locale back when a driver has changed it: PostgreSQL's sets that of the environment when it
/// connects, and with it what narrow text is to this process.
class KeptLocale {
public:
    KeptLocale() = default;
    KeptLocale(const KeptLocale&) = delete;
    KeptLocale& operator=(const KeptLocale&) = delete;
    ~KeptLocale() {
        // NOLINTBEGIN(concurrency-mt-unsafe): the driver was not asked; left as it is, each thread would suffer
        if (before != std::setlocale(LC_CTYPE, nullptr)) {
            std::setlocale(LC_CTYPE, before.c_str());
        }
        // NOLINTEND(concurrency-mt-unsafe)
    }

private:
    std::string before = std::setlocale(LC_CTYPE, nullptr); // NOLINT(concurrency-mt-unsafe): asks only
};

/// Nothing was sent: the driver knew that there is no connection.
constexpr std::string_view notConnected = "08003";

SQLUINTEGER isolationOf(std::int32_t level) {
    switch (level) {
    case ado::adXactReadCommitted:
        return SQL_TXN_READ_COMMITTED;
    case ado::adXactSerializable:
        return SQL_TXN_SERIALIZABLE;
    default:
        throw ComError(ado::adErrInvalidArgument, "There is no such isolation level.");
    }
}

} // namespace

namespace orvel::engines::odbc {

std::shared_ptr<ado::Session> openSession(const ado::Login& login) {
    return std::make_shared<Session>(login);
}

Session::Session(const ado::Login& login) : errors(login.errors) {
    const SecretText whole(driverConnectionString(login.connectionString, login.userId, login.password));
    SecretText completed;
    {
        const std::lock_guard guard(driverMutex());
        connect(whole.text, login.timeout, completed.text);
    }
    link = Link::connected;
    try {
        learnTraits(completed.text.empty() ? whole.text : completed.text, completed.text.empty());
    } catch (...) {
        disconnect(); // no destructor will
        throw;
    }
}

Session::~Session() { disconnect(); }

/// @param completed  gets the connection string with what the driver added; empty when it has no place there
void Session::connect(const std::string& connectionString, std::int32_t loginTimeout,
                      std::string& completed) {
    if (!succeeded(environment.allocate(nullptr))) {
        throw ComError(eOutOfMemory, "The ODBC driver manager has no environment to give.");
    }
    SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION, sqlNumber(SQL_OV_ODBC3), 0);
    if (!succeeded(connection.allocate(environment.get()))) {
        fail(SQL_HANDLE_ENV, environment.get());
    }
    if (loginTimeout > 0) { // some drivers refuse the 0 that is their default
        SQLSetConnectAttr(connection.get(), SQL_ATTR_LOGIN_TIMEOUT,
                          sqlNumber(static_cast<SQLUINTEGER>(loginTimeout)), 0);
    }
    completed.resize(std::numeric_limits<SQLSMALLINT>::max());
    SQLSMALLINT length = 0;
    const auto connectKeepingTheLocale = [&] {
        const KeptLocale locale; // goes before the words of a failure are converted
        return SQLDriverConnect(connection.get(), nullptr, sqlText(connectionString), SQL_NTS,
                                sqlText(completed), static_cast<SQLSMALLINT>(completed.size()), &length,
                                SQL_DRIVER_NOPROMPT);
    };
    check(connectKeepingTheLocale());
    if (length < 0 || static_cast<std::size_t>(length) >= completed.size()) {
        wipe(completed);
    }
    completed.resize(std::strlen(completed.c_str())); // one driver says that none is there when it is long
}

void Session::check(SQLRETURN code) {
    if (!succeeded(code)) {
        fail(SQL_HANDLE_DBC, connection.get());
    }
}

std::string Session::information(SQLUSMALLINT kind) {
    std::array<char, 256> text{};
    SQLGetInfo(connection.get(), kind, text.data(), static_cast<SQLSMALLINT>(text.size()), nullptr);
    return text.data();
}

SQLULEN Session::driverOption(SQLINTEGER attribute, SQLULEN otherwise) {
    SQLULEN value = 0;
    return succeeded(SQLGetConnectAttr(connection.get(), attribute, &value, sizeof value, nullptr))
               ? value
               : otherwise;
}

/// @param unknownOptions  there may be options that the string does not have
void Session::learnTraits(const std::string& connectionString, bool unknownOptions) {
    engineTraits.engine = engineNamed(information(SQL_DBMS_NAME));
    engineTraits.driverName = information(SQL_DRIVER_NAME);
    engineTraits.driverVersion = information(SQL_DRIVER_VER);
    engineTraits.bindingFixesLengths = engineTraits.engine == Engine::sqlite;
    engineTraits.transactionLocksTables =
        engineTraits.engine == Engine::postgresql || engineTraits.engine == Engine::mariadb;
    if (engineTraits.engine == Engine::mariadb) {
        engineTraits.unlimitedTextSize = ~SQLULEN{0}; // it describes honestly
        engineTraits.unlimitedDecimalSize = ~SQLULEN{0};
        engineTraits.directPreparesAnyway = true;
    }
    if (engineTraits.engine == Engine::postgresql) {
        // The server describes each with 4 bytes in a message whose length the client takes for an error from 30,000 on.
        engineTraits.mostPreparedMarkers = 7000;
        // Otherwise it is the encoding of the environment, in which this driver then takes our UTF-8.
        SQLCHAR useUtf8[] = "SET client_encoding TO 'UTF8'";
        const StatementHandle statement = allocateStatement();
        if (!succeeded(SQLExecDirect(statement.get(), useUtf8, SQL_NTS))) {
            fail(SQL_HANDLE_STMT, statement.get());
        }
        // Attributes of this driver alone, numbered in its own documentation of its options.
        constexpr SQLINTEGER unknownSizes = 65542;
        constexpr SQLINTEGER maxVarcharSize = 65546;
        constexpr SQLULEN unlimitedNumeric = 28;
        constexpr SQLULEN longestSoFar = 2; // the size of what was fetched so far, and so no limit
        if (driverOption(unknownSizes, longestSoFar) != longestSoFar) {
            engineTraits.unlimitedTextSize = driverOption(maxVarcharSize, 0);
            engineTraits.unlimitedDecimalSize = unlimitedNumeric;
        }
        const std::string protocol = keywordValue(connectionString, "Protocol");
        engineTraits.failureSpoilsTransaction =
            protocol.ends_with("-0") || protocol.ends_with("-1") || (protocol.empty() && unknownOptions);
    }
}

void Session::disconnect() noexcept {
    for (Statement* statement : statements) {
        statement->abandon();
    }
    statements.clear();
    if (link == Link::connected && transaction.isOpen()) {
        SQLEndTran(SQL_HANDLE_DBC, connection.get(), SQL_ROLLBACK);
    }
    transaction.lose();
    const std::lock_guard guard(driverMutex());
    if (std::exchange(link, Link::closed) != Link::closed) {
        SQLDisconnect(connection.get());
    }
    connection.reset();
    environment.reset();
}

std::shared_ptr<ado::Statement> Session::makeStatement() {
    return std::make_shared<Statement>(shared_from_this());
}

StatementHandle Session::allocateStatement() {
    StatementHandle handle;
    check(handle.allocate(connection.get())); // a dead connection shows here first with some drivers
    return handle;
}

void Session::dismiss(const Statement& statement) noexcept { std::erase(statements, &statement); }

void Session::setIsolationLevel(std::int32_t level) { wantedIsolation = isolationOf(level); }

void Session::applyIsolation() {
    if (wantedIsolation != 0 && wantedIsolation != isolation) {
        check(SQLSetConnectAttr(connection.get(), SQL_ATTR_TXN_ISOLATION, sqlNumber(wantedIsolation), 0));
        isolation = wantedIsolation;
    }
}

void Session::prepareForStatement() {
    if (!transaction.isOpen()) {
        applyIsolation();
    } else if (transaction.state() == ado::TransactionState::doubtful) {
        settleDoubt(); // now: with this statement the driver may begin another transaction without a word
    }
}

void Session::begin() {
    transaction.requireNone();
    applyIsolation(); // too late once the transaction has begun
    check(SQLSetConnectAttr(connection.get(), SQL_ATTR_AUTOCOMMIT, sqlNumber(SQL_AUTOCOMMIT_OFF), 0));
    transaction.begin();
}

/// The driver may have noticed the loss in a call whose result is not told: dropping a statement or a cursor.
void Session::noticeLoss() {
    // Other drivers would have to ask the server.
    if (engineTraits.engine == Engine::postgresql && link == Link::connected &&
        driverOption(SQL_ATTR_CONNECTION_DEAD, SQL_CD_FALSE) == SQL_CD_TRUE) {
        link = Link::lost;
    }
    if (link != Link::connected) {
        transaction.lose();
    }
}

void Session::commit() {
    noticeLoss(); // drivers report success for the commit of a session that is gone
    settleDoubt();
    try {
        transaction.requireCommittable();
    } catch (const ComError&) {
        abandonTransaction();
        throw;
    }
    if (!succeeded(SQLEndTran(SQL_HANDLE_DBC, connection.get(), SQL_COMMIT))) {
        failCommit();
    }
    leaveTransaction();
}

/// The transaction ends here also where the engine would let it be committed again: no caller could ask for that.
void Session::failCommit() {
    std::vector<Diagnostic> diagnostics;
    try {
        diagnostics = readDiagnostics(SQL_HANDLE_DBC, connection.get());
    } catch (...) { // without memory for the reason, it is not known whether the engine has committed
        abandonTransaction();
        throw ComError(ado::xactInDoubt, {});
    }
    const bool inDoubt = !diagnostics.empty() && diagnostics.front().sqlState != notConnected &&
                         meansConnectionLost(diagnostics.front(), engineTraits.engine);
    abandonTransaction();
    raise(std::move(diagnostics), inDoubt ? ado::xactInDoubt : std::uint32_t{0});
}

void Session::rollback() {
    transaction.requireOpen();
    if (link == Link::closed) {
        transaction.end();
        throw ComError(eFail, "The connection was lost.");
    }
    if (succeeded(SQLEndTran(SQL_HANDLE_DBC, connection.get(), SQL_ROLLBACK))) {
        leaveTransaction();
        return;
    }
    link = Link::lost; // nothing more is sent: autocommit would commit what is still open
    const auto giveUp = [this]() noexcept {
        disconnect();
        transaction.end();
    };
    std::vector<Diagnostic> diagnostics;
    try {
        diagnostics = readDiagnostics(SQL_HANDLE_DBC, connection.get());
    } catch (...) {
        giveUp();
        throw;
    }
    giveUp();
    raise(std::move(diagnostics));
}

/// Rolls back; where that fails the session is given up, because autocommit would commit what is still open.
void Session::abandonTransaction() noexcept {
    if (link == Link::connected && succeeded(SQLEndTran(SQL_HANDLE_DBC, connection.get(), SQL_ROLLBACK))) {
        leaveTransaction();
        return;
    }
    link = link == Link::connected ? Link::lost : link;
    disconnect();
    transaction.end();
}

/// A session that will not commit its statements by itself again is given up: they would be lost without a word.
void Session::leaveTransaction() noexcept {
    transaction.end();
    if (!succeeded(
            SQLSetConnectAttr(connection.get(), SQL_ATTR_AUTOCOMMIT, sqlNumber(SQL_AUTOCOMMIT_ON), 0))) {
        disconnect();
    }
}

void Session::note(const Diagnostic& diagnostic) noexcept {
    if (link == Link::connected && meansConnectionLost(diagnostic, engineTraits.engine)) {
        link = Link::lost;
        transaction.lose();
    }
    if (engineTraits.failureSpoilsTransaction || meansTransactionUndone(diagnostic, engineTraits.engine)) {
        transaction.spoil();
    }
    if (meansOutOfStep(diagnostic, engineTraits.engine)) {
        // What comes next would be a false success, and then a crash in the driver; a rollback would wait for ever.
        disconnect();
    }
}

bool Session::isPlanOutdated() noexcept {
    const auto& reasons = errors->all();
    const bool isOutdated = !reasons.empty() && transaction.state() != ado::TransactionState::spoiled &&
                            meansPlanOutdated(reasons.front(), engineTraits.engine);
    if (isOutdated) {
        errors->clear();
    }
    return isOutdated;
}

void Session::doubtTransaction() noexcept {
    if (engineTraits.engine == Engine::postgresql) { // whose driver rolls back when it cannot close a cursor
        transaction.doubt();
    }
}

void Session::settleDoubt() noexcept {
    if (transaction.state() != ado::TransactionState::doubtful) {
        return;
    }
    if (hasLostItsTransaction()) {
        transaction.spoil();
    } else {
        transaction.confirm();
    }
}

/// Asks the engine, right after a failure, whether the transaction with its work is still there.
bool Session::hasLostItsTransaction() noexcept {
    if (link != Link::connected || !transaction.hasWork()) {
        return false;
    }
    switch (engineTraits.engine) {
    case Engine::postgresql:
        // The driver sends the savepoint that protects a transaction together with the statement. When the server
        // cannot even parse the text, there is no savepoint: the driver rolls the whole transaction back without a
        // word, and begins another with the next statement. That one then is as old as its transaction.
        return !answers(
            "VALUES (CASE WHEN now() = statement_timestamp() THEN 0 ELSE 1 END)"); // a SELECT may be a cursor
    case Engine::sqlite:
        return executes("BEGIN"); // only where there is none; the rollback to come ends it
    case Engine::mariadb:
        return !answers("SELECT @@in_transaction");
    default:
        return false;
    }
}

/// Whether the answer is 1. Nothing is noted of it, and no failure of it either.
bool Session::answers(const char* question) noexcept {
    StatementHandle handle;
    std::array<char, 8> answer{};
    SQLLEN length = 0;
    return succeeded(handle.allocate(connection.get())) &&
           succeeded(SQLExecDirect(handle.get(), sqlText(question), SQL_NTS)) &&
           succeeded(SQLFetch(handle.get())) &&
           succeeded(SQLGetData(handle.get(), 1, SQL_C_CHAR, answer.data(), answer.size(), &length)) &&
           answer[0] == '1';
}

bool Session::executes(const char* text) noexcept {
    StatementHandle handle;
    return succeeded(handle.allocate(connection.get())) &&
           succeeded(SQLExecDirect(handle.get(), sqlText(text), SQL_NTS));
}

/// Without memory for the reason of a failure, the transaction is taken for one that the failure has ended.
std::vector<Diagnostic> Session::diagnosticsOf(SQLSMALLINT handleType, SQLHANDLE handle) {
    try {
        std::vector<Diagnostic> diagnostics = readDiagnostics(handleType, handle);
        if (link == Link::closed) { // what was to be connected may stand in the words
            std::ranges::for_each(diagnostics, hidePasswords, &Diagnostic::text);
        }
        return diagnostics;
    } catch (...) {
        transaction.spoil();
        throw;
    }
}

void Session::fail(SQLSMALLINT handleType, SQLHANDLE handle) { raise(diagnosticsOf(handleType, handle)); }

void Session::raise(std::vector<Diagnostic> diagnostics, std::uint32_t status) {
    if (diagnostics.empty()) {
        throw ComError(eFail, isOpen() ? "The ODBC driver gave no reason." : "The connection was lost.");
    }
    std::ranges::for_each(diagnostics, [this](const Diagnostic& diagnostic) { note(diagnostic); });
    if (mayMeanTransactionUndone(diagnostics.front(), engineTraits.engine) && hasLostItsTransaction()) {
        transaction.spoil();
    }
    if (status == 0) {
        const Diagnostic& first = diagnostics.front();
        const bool known = engineTraits.engine != Engine::other;
        status = statusOf(first, known ? engineTraits.engine : engineOfDriver(first));
    }
    errors->raise(status, std::move(diagnostics));
}

} // namespace orvel::engines::odbc
