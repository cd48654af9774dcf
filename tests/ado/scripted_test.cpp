// The provider over scripted objects: what it asks of the object model, and what no engine does on demand.

#include <algorithm>
#include <climits>
#include <functional>
#include <new>
#include <regex>
#include <tuple>
#include <vector>

#include "QD_ADOOrvelInterface.h"
#include "QD_OrvelTransaction.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/expect_error.h"
#include "tests/support/fields.h"
#include "tests/support/refusals.h"
#include "tests/support/scripted_ado.h"

namespace {

using namespace orvel::tests;
using orvel::platform::ComError;

constexpr unsigned long fail = 0x80004005;
constexpr unsigned long pointer = 0x80004003;

void failed() { throw ComError(fail, "words"); }
void exhausted() { throw std::bad_alloc(); }

/// What an application's own class could reach.
class Reachable : public QD_ADOOrvelConnection {
public:
    Reachable(const std::string& file, const char* serverName, const char* key = "E", const char* port = "i")
        : QD_ADOOrvelConnection(file.c_str(), serverName, key, port) {}
    using QD_ADOOrvelConnection::abortTransaction;
    using QD_ADOOrvelConnection::beginTransaction;
    using QD_ADOOrvelConnection::commitTransaction;
    using QD_ADOOrvelConnection::getDBPathName;

    std::string pathOf(const char* name, const char* directory) {
        std::string path = "left alone";
        getDBPathName(name, directory, path);
        return path;
    }
};

std::string onConnection(const std::string& functions) { return traceOf(functions, "QD_ADOOrvelConnection"); }
std::string onCommand(const std::string& functions) { return traceOf(functions, "QD_ADOOrvelCommand"); }

class ScriptedAdo : public ScriptedEngine {
protected:
    DiagnosticLines lines;
    Reachable connection{file, "far"};

    void SetUp() override { QD_OrvelConnection::flushDBConfig(); }

    void open() { connection.open("db", nullptr, 0); }
    QD_OrvelCommandHandle command() {
        open();
        return connection.createCommand("text", 0);
    }
    QD_OrvelQueryHandle query(AdoScript::Column column) {
        script.columns = {std::move(column)};
        script.rows = 1;
        open();
        return connection.execQuery("q", 0);
    }
    /// What `body` asks the object model to do.
    std::string callsOf(const std::function<void()>& body) {
        script.calls.clear();
        body();
        return script.calls;
    }
    /// The lines said so far, without the library's part of the names.
    static std::string said() {
        std::string lines;
        for (const std::string& line : DiagnosticLines::all()) lines += line;
        return std::regex_replace(lines, std::regex("QD_ADOOrvelInterface, Line [0-9]+, QD_ADOOrvel"), "");
    }
};

TEST_F(ScriptedAdo, openSetsTimeoutsThenOpensWhatTheConfigurationSays) {
    EXPECT_EQ(connection.getProvider(), nullptr);
    EXPECT_EQ(connection.getVersion(), nullptr);
    const std::string timeouts = "ConnectionTimeout(30) CommandTimeout(30) ";
    EXPECT_EQ(callsOf([&] { connection.open("db", "path", 7); }), timeouts + "Open(far/i/db,0)");
    EXPECT_EQ(callsOf([&] { Reachable(file, "").open("db", "", 0); }), timeouts + "Open(here/i/db,0) Close");
    connection.close();
    connection.close();
    EXPECT_FALSE(connection.isOpen());
    EXPECT_STREQ(connection.getProvider(), "scripted") << "known from then on";
    EXPECT_STREQ(connection.getVersion(), "1.0");
    EXPECT_TRUE(connection.isClientServer());
    script.errors->fill({{"HY000", 5, "engine"}});
    for (const char* const member : {"Open", "Provider", "Version"}) {
        script.failures = {{member, failed}};
        expectError([&] { open(); }, {4, 5, "engine", onConnection("open"), fail});
        EXPECT_FALSE(connection.isOpen()) << "though the engine may have let it in: " << member;
    }
    script.failures.clear();
    open();
    const ado::Registration<ado::Connection> none({});
    EXPECT_EQ(errorOf([&] { open(); }).hr, ado::classNotRegistered);
    EXPECT_FALSE(connection.isOpen()) << "what was there is gone";
}

TEST_F(ScriptedAdo, argumentsAndAnOpenConnectionAreRequired) {
    const auto closed = [](const std::string& functions) {
        return Error{12, 1, "Null Database pointer", onConnection("checkDB " + functions), 0};
    };
    Reachable& on = connection;
    expectRefusals(on, "QD_ADOOrvelConnection", closed(""));
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
        expectError([&] { on.createCommand(text, 0); },
                    {23, 0, "", onConnection("QD_OrvelTools::throwOnNullOrEmptyString createCommand")});
    }
    expectError([&] { on.createCommand("x", 0); }, closed("createCommand"));
    expectError([&] { on.getLastInsertedId(); }, closed("getLastInsertedId"));
    expectError([&] { on.beginTransaction(0, ""); }, closed("beginTransaction"));
    expectError([&] { on.commitTransaction(""); }, closed("commitTransaction")); // the begin counted
    EXPECT_EQ(errorOf([&] { Reachable(file, "far", "E", nullptr).open("db", nullptr, 0); }).code, 23);
    EXPECT_EQ(errorOf([&] { Reachable(file, "far", "none"); }).code, 26);
    on.compressDatabase();
    EXPECT_EQ(script.calls + said(), "");
}

TEST_F(ScriptedAdo, anEngineIsQuotedWholeAndItsLastCodeWins) {
    open();
    const auto error = [&] { return errorOf([&] { connection.execNoQuery("x", 0); }); };
    const std::string trace = onConnection("execNoQuery");
    script.failures["Execute"] = failed;
    script.errors->fill({{"HY000", 7, "one"}, {"HY000", -8, "two"}});
    EXPECT_EQ(error(), (Error{13, 0xFFFFFFF8, "onetwo", trace, fail}));
    script.errors->clear();
    EXPECT_EQ(error(), (Error{13, 0, "words", trace, fail}));
    script.failures["Errors"] = exhausted;
    expectError([&] { connection.tableExists("t"); },
                {14, 0, "words", onConnection("execQuery tableExists"), fail});
    script.failures["Execute"] = exhausted;
    EXPECT_EQ(error(), (Error{13, 1, "Runtime Exception", trace, 0}));
    const std::string status = orvel::platform::hresultText(fail) + "\n",
                      com = "CATCH _com_error: Connection::";
    EXPECT_EQ(said(), com + "execNoQuery - onetwo\n" + com + "execNoQuery - " + status + com +
                          "execQuery - " + status +
                          "CATCH ... : Connection::execNoQuery - Runtime exception caught\n");
}

TEST_F(ScriptedAdo, aCloseThatFailsKeepsTheObjectUntilTheNextOpen) {
    open();
    script.errors->fill({{"HY000", 1, "busy"}});
    script.failures["Close"] = failed;
    connection.close();
    EXPECT_TRUE(connection.isOpen());
    script.failures["Close"] = exhausted;
    connection.close();
    script.failures["State"] = failed;
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(said(), "CATCH _com_error: Connection::close - busy\n"
                      "CATCH... : Connection::close - Runtime exception caught\n"
                      "CATCH ... : Connection::isOpen - Runtime exception caught\n");
    script.failures.clear();
    EXPECT_FALSE(callsOf([&] { connection.dropDatabase("db", nullptr); }).starts_with("Close"))
        << "it is not open on that name any more";
    open();
    EXPECT_TRUE(connection.isOpen());
}

TEST_F(ScriptedAdo, timeoutsAreWholeSecondsAndKeptForTheNextOpen) {
    const std::pair<int, std::string> cases[] = {
        {1500, "(1)"}, {500, "(0)"}, {-1500, "(0)"}, {61000, "(61)"}};
    for (const auto& [milliseconds, seconds] : cases) {
        connection.close();
        connection.setBusyTimeout(milliseconds);
        const std::string both = "ConnectionTimeout" + seconds + " CommandTimeout" + seconds;
        EXPECT_EQ(callsOf([&] { open(); }), both + " Open(far/i/db,0)");
        EXPECT_EQ(callsOf([&] { connection.setBusyTimeout(milliseconds); }), both);
        EXPECT_EQ(callsOf([&] { connection.createCommand("x", 0); }),
                  "CommandTimeout" + seconds + " CommandText(x)");
        EXPECT_TRUE(callsOf([&] { connection.dropDatabase("x", nullptr); }).starts_with(both))
            << "for connections of its own as well";
    }
    EXPECT_EQ(lines.all().size(), std::size(cases)) << "one for every change while it was closed";
    EXPECT_TRUE(said().starts_with("CATCH _com_error: Connection::setBusyTimeout - "));
}

TEST_F(ScriptedAdo, databaseFilesHaveThePathTheServerSees) {
    const char* cases[][4] = {{"E", "far", "C:\\d", "C:\\d\\x.dbf"},
                              {"E", "far", "C:\\d\\", "C:\\d\\x.dbf"},
                              {"E", "far", "", "\\x.dbf"},
                              {"F", "far", "C:\\d", "C:\\d\\x.mdf"},
                              {"E", "far", "\\\\net\\d", "E:\\data\\x.dbf"},
                              {"E", "HERE", "\\\\net\\d", "\\\\net\\d\\x.dbf"},
                              {"E", "", "\\\\net", "\\\\net\\x.dbf"}};
    for (const auto& [key, server, place, expected] : cases) {
        Reachable on(file, server, key);
        EXPECT_EQ(on.pathOf("x", place), expected);
        EXPECT_EQ(on.pathOf(nullptr, place) + on.pathOf("x", nullptr), "left aloneleft alone");
    }
}

TEST_F(ScriptedAdo, whatAnEngineDoesNotCountIsNone) {
    QD_OrvelCommandHandle made = command();
    const std::pair<ado::Variant, int> cases[] = {
        {std::int64_t{3}, 3}, {std::int64_t{-1}, 0}, {ado::Empty{}, 0}, {std::int64_t{1} << 40, INT_MAX}};
    for (const auto& [affected, expected] : cases) {
        script.affected = affected;
        EXPECT_EQ(connection.execNoQuery("x", 5), expected);
        EXPECT_EQ(made->execNoQuery(5), expected);
    }
    EXPECT_EQ(callsOf([&] { connection.execNoQuery("x", 5); }), "Execute(x,128)");
    EXPECT_EQ(callsOf([&] { made->execNoQuery(5); }), "Command.Execute(129)");
    EXPECT_EQ(callsOf([&] { made->execQuery(5); }), "Command.Execute(1)");
}

TEST_F(ScriptedAdo, parametersAreDeclaredByKind) {
    QD_OrvelCommandHandle made = command();
    const unsigned char bytes[] = {1, 2, 3};
    const std::string decimals = "Precision(22) NumericScale(0) Append";
    const auto expect = [&](const std::string& expected, const auto& add) {
        EXPECT_EQ(callsOf(add), "CreateParameter(" + expected);
    };
    expect("3,1,4,int -7) Append", [&] { made->addIntParam(-7); });
    expect("14,1,16,decimal -9000000000) " + decimals, [&] { made->addInt64Param(-9000000000); });
    expect("14,1,16,decimal -9223372036854775808) " + decimals, [&] { made->addInt64Param(LLONG_MIN); });
    expect("5,1,8,0.5) Append", [&] { made->addDoubleParam(0.5); });
    expect("8,1,3,a\U0001F600) Append", [&] { made->addStringParam("a\U0001F600"); });
    expect("205,1,3,missing) AppendChunk(3 bytes) Append", [&] { made->addBlobParam(bytes, 3); });
    const std::string kinds[] = {"3,1,0", "14,1,0", "5,1,0", "8,1,1", "205,1,1"};
    for (int kind = QD_ORVEL_DATA_INT; kind <= QD_ORVEL_DATA_BLOB; ++kind) {
        expect(kinds[kind - 1] + ",empty) " + (kind == QD_ORVEL_DATA_INT64 ? decimals : "Append"),
               [&] { made->addEmptyParam(static_cast<QD_OrvelDataKind>(kind)); });
    }
    expect("8,1,1,empty) Append", [&] { made->addStringParam(nullptr); });
    expect("8,1,1,empty) Append", [&] { made->addStringParam(""); });
    expect("205,1,1,empty) Append", [&] { made->addBlobParam(bytes, 0); });
    expect("205,1,1,empty) Append", [&] { made->addBlobParam(nullptr, 5); });
    made = connection.createCommand("two", 0);
    made->addIntParam(1);
    made->addIntParam(2);
    EXPECT_EQ(callsOf([&] { made->resetParams(); }), "Delete(1) Delete(0)");
    EXPECT_EQ(callsOf([&] { made->resetParams(); }), "");
}

TEST_F(ScriptedAdo, aCommandThatFailsSaysWhereAndWithItsCode) {
    const unsigned char byte = 1;
    QD_OrvelCommandHandle made = command();
    const auto expect = [](const std::string& operation, const auto& run, const Error& like) {
        expectError(run, {like.code, like.provCode, like.provText, onCommand(operation), like.hr});
    };
    const Error runtime{27, 1, "Runtime Exception", "", 0};
    expect("addEmptyParam", [&] { made->addEmptyParam(static_cast<QD_OrvelDataKind>(7)); },
           {27, 0, "no parameter", "", ado::adErrInvalidArgument});
    expect("addBlobParam", [&] { made->addBlobParam(&byte, -1); }, runtime);
    script.failures = {{"Append", failed}, {"CommandText", failed}};
    script.errors->fill({{"HY000", 5, "engine"}});
    expect("addIntParam", [&] { made->addIntParam(1); }, {27, 5, "engine", "", fail});
    expect(
        "addStringParam", [&] { made->addStringParam(""); },
        runtime); // the inner operation's own is replaced
    expect("QD_ADOOrvelCommand QD_ADOOrvelConnection::createCommand",
           [&] { connection.createCommand("x", 0); }, {28, 5, "engine", "", fail});
    made->close();
    made->close();
    const Error notRun{13, 0, "", "", pointer};
    const Error notBound{27, 0, "", "", pointer};
    expect("execNoQuery", [&] { made->execNoQuery(0); }, notRun);
    expect("execQuery", [&] { made->execQuery(0); }, notRun);
    expect("addIntParam", [&] { made->addIntParam(1); }, notBound);
    expect("addInt64Param", [&] { made->addInt64Param(1); }, notBound);
    expect("addDoubleParam", [&] { made->addDoubleParam(1); }, notBound);
    expect("addStringParam", [&] { made->addStringParam("a"); }, notBound);
    expect("addBlobParam", [&] { made->addBlobParam(&byte, 1); }, notBound);
    expect("addEmptyParam", [&] { made->addEmptyParam(QD_ORVEL_DATA_INT); }, notBound);
    expect("resetParams", [&] { made->resetParams(); }, notBound);
}

TEST_F(ScriptedAdo, aValueThatDoesNotConvertIsNone) {
    long long wide = 1;
    int untouched = 4;
    const QD_OrvelQueryHandle text = query({"c", ado::adVarWChar, std::string("no number"), 9, {}});
    EXPECT_EQ(allOf(text, 0), "0:0 0:0 0:0 1:no number 1:9");
    EXPECT_FALSE(text->getIntField(nullptr, untouched) || untouched != 4) << "no name, nothing touched";
    EXPECT_EQ(numberOf(query({"c", ado::adInteger, ado::Empty{}, 0, {}})), "(none)");
    const ado::Decimal decimal{.low = 125, .high = 9, .scale = 1, .sign = ado::Decimal::negative};
    EXPECT_TRUE(query({"c", ado::adDecimal, decimal, 0, {}})->getInt64Field(0, wide));
    EXPECT_EQ(wide, -125) << "neither point nor high part";
    EXPECT_NE(said().find("CATCH _com_error: Query::getIntField - "), std::string::npos) << said();
}

TEST_F(ScriptedAdo, aBlobIsReadWholeOrNotAtAll) {
    const ado::Bytes three(3, std::byte{7});
    using Case = std::tuple<int, ado::Variant, unsigned int, bool>;
    for (const auto& [actual, chunk, capacity, read] :
         {Case{3, three, 3, true}, Case{3, three, 9, true}, Case{3, three, 2, false},
          Case{3, std::string("abc"), 3, false}, Case{3, ado::Bytes(2), 3, false},
          Case{3, ado::Null{}, 3, false}, Case{0, three, 3, false}, Case{-1, three, 3, false}}) {
        const auto rows = query({"c", ado::adLongVarBinary, three, actual, chunk});
        unsigned char buffer[9] = {};
        unsigned int size = capacity;
        EXPECT_EQ(rows->getBlobField(0, size, buffer), read);
        EXPECT_EQ(static_cast<int>(size), std::max(actual, 0));
        EXPECT_EQ(buffer[2], read ? 7 : 0);
        EXPECT_EQ(rows->getBlobField("c", size, nullptr), actual > 0) << "asking for the size";
    }
}

TEST_F(ScriptedAdo, columnsAreFoundByPositionInSixteenBitsOrByName) {
    const QD_OrvelQueryHandle rows = query({"Name", ado::adVarWChar, std::string("v"), 1, {}});
    EXPECT_EQ(textOf(rows, 65536) + textOf(rows, 32768), "v(none)");
    EXPECT_EQ(callsOf([&] { textOf(rows, "NAME"); }), "Fields.Item(NAME)");
    std::string text;
    int index = 0;
    EXPECT_FALSE(rows->getFieldIndex("NAME", index) || index != -1) << index;
    EXPECT_TRUE(rows->getFieldIndex("Name", index) && index == 0) << index;
    EXPECT_TRUE(rows->getFieldName(0, text));
    EXPECT_FALSE(rows->getFieldName(1, text) || !text.empty()) << text;
    EXPECT_FALSE(rows->getFieldDeclType(-1, text));
    using Type = std::pair<std::int32_t, std::string>;
    for (const auto& [type, name] : {Type{0, "adEmpty"}, Type{202, "adVarWChar"}, Type{15, "adUnknown"},
                                     Type{8192, "adArray"}, Type{8195, "adUnknown"}}) {
        EXPECT_TRUE(query({"c", type, {}, 0, {}})->getFieldDeclType(0, text));
        EXPECT_EQ(text, name);
    }
}

TEST_F(ScriptedAdo, aCursorEndsWhereItsRecordsetFails) {
    const QD_OrvelQueryHandle rows = query({"c", ado::adVarWChar, std::string("v"), 1, {}});
    EXPECT_EQ(rows->numFields(), 1);
    script.failures["MoveNext"] = failed;
    rows->nextRow();
    EXPECT_EQ(rows->numFields(), 0);
    script.failures["EOF"] = failed;
    EXPECT_TRUE(rows->eof());
    EXPECT_EQ(connection.execQuery("q", 0)->numFields(), 0) << "nor does it begin";
    script.failures["Recordset.Close"] = exhausted;
    rows->close();
    EXPECT_EQ(lines.all().size(), 4U);
    EXPECT_TRUE(said().starts_with("CATCH _com_error: Query::nextRow - "));
    EXPECT_TRUE(said().ends_with("\nCATCH... : Query::close - Runtime exception caught\n"));
    script.failures = {{"Fields", failed}};
    expectError([&] { connection.execQuery("q", 0); },
                {29, 0, "words",
                 traceOf("QD_ADOOrvelQuery QD_ADOOrvelConnection::execQuery", "QD_ADOOrvelQuery"), fail});
}

TEST_F(ScriptedAdo, schemaOperationsSendTheConfiguredTextAndNothingElse) {
    open();
    script.columns = {{"c", ado::adInteger, std::int64_t{1}, 4, {}}};
    const std::string timeouts = "ConnectionTimeout(30) CommandTimeout(30) ";
    const std::string master = timeouts + "Open(far/i/master,0) ";
    const auto expect = [&](const std::string& texts, const auto& run) { EXPECT_EQ(callsOf(run), texts); };
    Reachable& on = connection;
    std::vector<std::string> names = {"old"};
    expect("Execute(tables,0)", [&] { EXPECT_EQ(on.getTables(names), 0); });
    EXPECT_TRUE(names.empty());
    script.rows = 1;
    expect("Execute(tables,0)", [&] { EXPECT_EQ(on.getTables(names), 1); });
    expect("Execute(columns t,0)", [&] { EXPECT_EQ(on.getTableColumnNames("t", names), 1); });
    expect("Execute(columns ,0)", [&] { EXPECT_EQ(on.getTableColumnNames(nullptr, names), 1); });
    expect("Execute(has t,0)", [&] { EXPECT_TRUE(on.tableExists("t")); });
    expect("Execute(SELECT COUNT(*) FROM t;,0)", [&] { EXPECT_EQ(on.getTableRowCount("t"), 1); });
    expect("Execute(t n,128) Execute(s n,128)", [&] { on.createTable("T", "n"); });
    expect("Execute(u n,128)", [&] { on.createTable("U", "n"); });
    expect("Execute(a n_2,128)", [&] { on.alterTable("T", 3, "n_2"); });
    expect("", [&] { EXPECT_EQ(errorOf([&] { on.alterTable("T", 4, "n"); }).code, 24); });
    expect("Execute(drop n,128)", [&] { on.dropTable("n"); });
    expect("Execute(last,0)", [&] { EXPECT_EQ(on.getLastInsertedId(), 1); });
    expect("", [&] { on.compressDatabase(); });
    expect(master + "Execute(is x,0) Close", [&] { EXPECT_TRUE(on.databaseExists("x", nullptr)); });
    expect(master + "Execute(new x E:\\data\\x.dbf,128) Close " + timeouts +
               "Open(far/i/x,0) Execute(set x $(dbPathName),128) Close",
           [&] { on.createDatabase("D", "x", "\\\\net\\d", 0); });
    expect(master + "Execute(away DB,128) Close", [&] { on.dropDatabase("DB", nullptr); });
    EXPECT_TRUE(on.isOpen());
    expect("Close " + master + "Execute(away db,128) Close", [&] { on.dropDatabase("db", nullptr); });
    EXPECT_FALSE(on.isOpen());
    script.columns[0].value = std::int64_t{0};
    expect(master + "Execute(is x,0) Close", [&] { EXPECT_FALSE(on.databaseExists("x", nullptr)); });
    script.failures["Execute"] = failed;
    EXPECT_EQ(errorOf([&] { on.createDatabase("D", "x", nullptr, 0); }).trace,
              onConnection("execNoQuery createDatabase"));
    script.failures.clear();
    open();
    script.columns[0].value = std::int64_t{4294967296};
    EXPECT_EQ(on.getLastInsertedId(), 0) << "more than 32 bits read as none";
}

TEST_F(ScriptedAdo, onlyTheOutermostTransactionReachesTheEngine) {
    open();
    const auto end = [&](bool aborts) {
        aborts ? connection.abortTransaction("") : connection.commitTransaction("");
    };
    for (const unsigned int flags : {0U, 1U, 8U, 2U, 4U, 6U, 0x200U}) {
        const std::string level = (flags & 6) != 0 ? "IsolationLevel(1048576)" : "IsolationLevel(4096)";
        for (const int aborts : {0, 1, 2, 3}) { // the inner one, the outer one
            const std::string calls = callsOf([&] {
                connection.beginTransaction(flags, "");
                connection.beginTransaction(4, "");
                end((aborts & 1) != 0);
                end((aborts & 2) != 0);
            });
            const std::string last = aborts < 2 ? " CommitTrans" : " RollbackTrans";
            EXPECT_EQ(calls, level + " BeginTrans" + last + " IsolationLevel(4096)") << flags << aborts;
        }
    }
}

TEST_F(ScriptedAdo, theCountMovesWhateverTheEngineSays) {
    open();
    const auto nothing = [&] {
        expectError([&] { connection.abortTransaction(""); },
                    {18, 0, "", onConnection("abortTransaction"), 0});
    };
    expectError([&] { connection.commitTransaction(""); }, {18, 0, "", onConnection("commitTransaction"), 0});
    EXPECT_EQ(callsOf(nothing), "");
    script.failures = {{"BeginTrans", failed}, {"CommitTrans", failed}};
    EXPECT_EQ(errorOf([&] { connection.beginTransaction(0, ""); }).code, 15);
    expectError([&] { connection.commitTransaction(""); },
                {16, 0, "words", onConnection("commitTransaction"), fail});
    EXPECT_EQ(callsOf(nothing), "RollbackTrans IsolationLevel(4096)") << "what may have been left open";
    EXPECT_EQ(callsOf(nothing), "");
    script.failures = {{"RollbackTrans", failed}};
    connection.beginTransaction(0, "");
    EXPECT_EQ(errorOf([&] { connection.abortTransaction(""); }).code, 17);
    nothing();
    script.failures.clear();
    connection.beginTransaction(0, "");
    script.failures = {{"IsolationLevel", failed}};
    connection.commitTransaction(""); // has happened: nothing behind it makes it a failure
    EXPECT_TRUE(said().ends_with("CATCH _com_error: Connection::commitTransaction - Unspecified error\n"))
        << said();
}

TEST_F(ScriptedAdo, onlyTextsThatAreRunAreTraced) {
    QD_OrvelCommandHandle made = command();
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 1, nullptr);
    testing::internal::CaptureStderr();
    connection.execNoQuery("n", 0);
    connection.execQuery("q", 0);
    made->execNoQuery(0);
    made->execQuery(0);
    QD_OrvelConnection::setAppDefault(QD_ORVEL_APPDEF_SQL_TRACE, 0, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Orvel SQL:\"n\"\nOrvel SQL:\"q\"\nOrvel SQL:\"text\"\n");
}

} // namespace
