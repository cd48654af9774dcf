// What the ADO provider does when a failure has to be told and an allocation fails on the way.

#include <functional>
#include <vector>

#include "QD_ADOOrvelInterface.h"
#include "tests/support/allocation_limit.h"
#include "tests/support/diagnostic_lines.h"
#include "tests/support/scripted_ado.h"

namespace {

using namespace orvel::tests;

void failed() { throw orvel::platform::ComError(0x80041234, "words that need memory of their own"); }

class ExhaustedMemoryAdo : public ScriptedEngine {
protected:
    void SetUp() override { connection->open("a database with a name that is not short", nullptr, 0); }

    /// Runs `step` until it needs no allocation that fails; `look` is told whether each run has raised one of the family.
    static void sweep(const std::function<void()>& prepare, const std::function<void()>& step,
                      const std::function<void(bool)>& look) {
        for (long allowed = 0; allowed == 0 || AllocationLimit::hasFailed(); ++allowed) {
            const testing::ScopedTrace here(__FILE__, __LINE__, allowed);
            prepare();
            Silence::lines = 0;
            bool raised = false;
            try {
                const AllocationLimit limit(allowed, true);
                step();
            } catch (const QD_OrvelException&) {
                raised = true;
            }
            look(raised);
        }
    }

    Silence silence;
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
    using Words = std::vector<orvel::platform::ado::Diagnostic>;
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
            sweep(prepare, step, [&, raises = throws](bool raised) {
                EXPECT_EQ(Silence::lines, 1);
                EXPECT_EQ(raised, raises);
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
        sweep(prepare, step, [&](bool raised) { EXPECT_NE(raised, rows.isValid() || made.isValid()); });
    }
}

} // namespace
