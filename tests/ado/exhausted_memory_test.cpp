// What the ADO provider does when a failure has to be told and an allocation fails on the way.

#include <functional>
#include <vector>

#include "QD_ADOOrvelInterface.h"
#include "QD_OrvelDebugOutput.h"
#include "tests/support/allocation_limit.h"
#include "tests/support/expect_error.h"
#include "tests/support/scripted_ado.h"
#include "tests/support/temporary_directory.h"

namespace {

using namespace orvel::tests;

int linesLogged = 0;

void failed() { throw orvel::platform::ComError(0x80041234, "words that need memory of their own"); }

class ExhaustedMemoryAdo : public testing::Test {
protected:
    void SetUp() override {
        QD_OrvelSetDebugOutput([](const char*) noexcept { ++linesLogged; });
        connection->open("a database with a name that is not short", nullptr, 0);
    }
    void TearDown() override { QD_OrvelSetDebugOutput(nullptr); }

    /// Runs `step` until it needs no allocation that fails; `look` sees what each run has thrown, or null.
    static void sweep(const std::function<void()>& prepare, const std::function<void()>& step,
                      const std::function<void(const std::exception_ptr&)>& look) {
        for (long allowed = 0; allowed == 0 || AllocationLimit::hasFailed(); ++allowed) {
            const testing::ScopedTrace here(__FILE__, __LINE__, allowed);
            prepare();
            linesLogged = 0;
            std::exception_ptr thrown;
            try {
                const AllocationLimit limit(allowed, true);
                step();
            } catch (...) {
                thrown = std::current_exception();
            }
            look(thrown);
        }
    }
    static int codeOf(const std::exception_ptr& thrown) {
        return errorOf([&] {
                   if (thrown) std::rethrow_exception(thrown);
               })
            .code;
    }

    TemporaryDirectory directory;
    std::string file = directory.write("c.xml", R"(<c><MajorVersion>0</MajorVersion>
<MinorVersion>2</MinorVersion><DatabaseSection><E><Properties><MasterDBName>m</MasterDBName></Properties></E>
</DatabaseSection><ProviderSection><ADO><E><Properties><ConnectionString>$(dbName)</ConnectionString>
<LocalServerName>l</LocalServerName></Properties></E></ADO></ProviderSection></c>)");
    AdoScript script;
    ado::Registration<ado::Connection> connections{
        [this] { return std::make_shared<ScriptedConnection>(script); }};
    ado::Registration<ado::Command> commands{[this] { return std::make_shared<ScriptedCommand>(script); }};
    QD_OrvelConnectionHandle connection = QD_ADOOrvelConnection::create(file.c_str(), "", "E", "i");
};

TEST_F(ExhaustedMemoryAdo, everyFailureIsToldThoughAnAllocationFails) {
    script.rows = 9;
    script.columns = {{"a column", ado::adVarWChar, std::string("a text that is no number at all"), 4, {}}};
    const QD_OrvelCommandHandle command = connection->createCommand("x", 0);
    QD_OrvelQueryHandle rows;
    int number = 0;
    std::string text;
    using Step = std::function<void()>;
    const std::pair<Step, bool> steps[] = {
        {[&] { rows->getIntField("a column", number); }, false},
        {[&] { rows->getStringField("another column of this name", text); }, false},
        {[&] { rows->nextRow(); }, false},
        {[&] { rows->eof(); }, false},
        {[&] { rows->close(); }, false},
        {[&] { connection->close(); }, false},
        {[&] { connection->setBusyTimeout(5); }, false},
        {[&] { connection->execNoQuery("DELETE FROM t", 0); }, true},
        {[&] { command->execQuery(0); }, true},
        {[&] { command->addStringParam("not a short text at all"); }, true}};
    using Words = std::vector<orvel::platform::odbc::Diagnostic>;
    for (const Words& words : {Words{}, Words{{"HY000", 7, "what an engine says in a sentence"}}}) {
        for (const auto& [step, throws] : steps) {
            const auto prepare = [&] {
                script.failures.clear();
                rows = connection->execQuery("SELECT", 0);
                script.errors->fill(words);
                for (const char* const member :
                     {"MoveNext", "EOF", "Recordset.Close", "Fields.Item", "Close", "ConnectionTimeout",
                      "Execute", "Command.Execute", "Append"}) {
                    script.failures[member] = failed;
                }
            };
            sweep(prepare, step, [&, raises = throws](const std::exception_ptr& thrown) {
                EXPECT_EQ(linesLogged, 1);
                EXPECT_EQ(codeOf(thrown) != -1, raises);
            });
        }
    }
}

TEST_F(ExhaustedMemoryAdo, whatCannotBeMadeIsAnErrorAndNoEmptyHandle) {
    const QD_OrvelCommandHandle command = connection->createCommand("x", 0);
    QD_OrvelQueryHandle rows;
    QD_OrvelCommandHandle made;
    const std::function<void()> steps[] = {
        [&] { rows = connection->execQuery("a text for an engine", 0); },
        [&] { rows = connection->execQuery("", 0); }, [&] { rows = command->execQuery(0); },
        [&] { made = connection->createCommand("a text for an engine", 0); }};
    for (const auto& step : steps) {
        const auto prepare = [&] { rows.release(), made.release(); };
        sweep(prepare, step, [&](const std::exception_ptr& thrown) {
            EXPECT_EQ(codeOf(thrown) == -1, rows.isValid() || made.isValid());
        });
    }
}

} // namespace
