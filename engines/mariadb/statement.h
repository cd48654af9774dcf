#ifndef ORVEL_ENGINES_MARIADB_STATEMENT_H
#define ORVEL_ENGINES_MARIADB_STATEMENT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engines/mariadb/client.h"
#include "engines/mariadb/parameter_binds.h"
#include "engines/mariadb/result_columns.h"
#include "engines/mariadb/session.h"
#include "engines/mariadb/words.h"
#include "platform/ado/engine.h"
#include "platform/ado/row_store.h"

namespace orvel::engines::mariadb {

/// A text with its answer. Rows come one at a time, as the server sends them.
///
/// A command with parameters has a plan. A text without any goes as a plan of one run, in one trip; or as it is, when it has
/// no rows, or is known to have few of them and no numbers of single precision, which the server would round.
class Statement final : public ado::Statement {
public:
    explicit Statement(std::shared_ptr<Session> ofSession) : session(std::move(ofSession)) {}
    ~Statement() override;

    bool isUsable() const noexcept override { return session->isUsable(); }
    void setTimeout(std::int32_t seconds) override;
    void executeText(const std::string& text) override;
    void executeCommand(ado::CommandText& command, ado::ParameterValues values) override;
    void releaseLargeMemory() noexcept override {}

    std::int32_t columnCount() override { return static_cast<std::int32_t>(columns.count()); }
    std::int64_t changedRows() override { return changed; }
    void finish() override;

    void beginRows() override {}
    bool nextRow() override;
    const std::string& columnName(std::size_t column) const override { return columns.name(column); }
    std::int32_t columnType(std::size_t column) const override { return columns.type(column).type; }
    void readValue(std::size_t column, ado::Variant& value) const override;
    std::int32_t valueSize(std::size_t column) const override;
    bool readBytes(std::size_t column, std::size_t most, ado::Variant& value) const override;
    void noteBrokenScan() noexcept override {
        if (transactionOfRows != 0) {
            session->noteBrokenScan(transactionOfRows);
        }
    }
    void closeCursor() noexcept override;

    /// The connection is needed for something else: what is left of the rows waits in memory.
    void storeRest() noexcept;
    /// The connection is about to be closed: rows that are not in memory are lost.
    void loseConnection() noexcept;

private:
    /// Where the current row is.
    enum class Place : std::uint8_t { nowhere, answer, store, lost };

    std::shared_ptr<Session> session;
    std::int32_t timeout = 0;

    // The answer.
    ResultColumns columns;
    Format answerFormat = Format::text;
    Result result; ///< of a text that was sent as it is
    std::int64_t changed = -1;
    Place place = Place::nowhere;
    std::span<const std::string_view> row; ///< the current one
    bool isPending = false;   ///< the answer's row has not been given out: it comes behind those in the store
    bool isAnswering = false; ///< more of the answer is to come
    bool isBehindRows = false;
    ado::RowStore store; ///< of rows that were fetched before they were wanted
    Failure failure;     ///< behind the rows in the store
    bool wasInTransaction = false;
    std::uint64_t transactionOfRows = 0; ///< 0: none of ours
    TextKind kind = TextKind::other;     ///< of what runs

    // The plan, of a command or of one run.
    Plan plan;
    ParameterBinds parameters;
    bool isCommand = false; ///< the plan is a command's, and is kept
    std::optional<TextKind> kindOfCommand;

    void begin();
    void runText(const std::string& text);
    bool sendText(const std::string& text, Failure& reason);
    bool runOnce(const std::string& text, Failure& reason);
    bool runCommand(const std::string& text, ado::ParameterValues values, Failure& reason);
    bool prepare(const std::string& text, Failure& reason);
    bool isPlanOutdated(const Failure& reason);
    void makePlan();
    void forgetPlan() noexcept;

    void expectAnswer(Format format) noexcept;
    bool fail(const Call& call, Failure failed, Failure& reason);
    bool receiveFirst(Failure& reason);
    void lookAhead(Failure& reason);
    bool fetchRow(const Call& call, Failure& reason);
    bool fetchNext();
    void passFurtherResults(const Call& call, Failure& reason);
    void passFurtherTexts(const Call& call, Failure& reason);
    void readToEnd(Failure& reason);
    void endAnswer(const Failure& reason) noexcept;
    void dropRows() noexcept;
    void storeCurrentRow();
    void storeRow();
    void loseRest(std::uint32_t status) noexcept;
    void standOn(Place where) noexcept;
    std::string_view cell(std::size_t column) const;
    [[noreturn]] void raise(Failure reason) { session->raise(std::move(reason)); }
};

} // namespace orvel::engines::mariadb

#endif
