#ifndef ORVEL_ENGINES_POSTGRESQL_STATEMENT_H
#define ORVEL_ENGINES_POSTGRESQL_STATEMENT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engines/postgresql/failure.h"
#include "engines/postgresql/libpq.h"
#include "engines/postgresql/parameter_arrays.h"
#include "engines/postgresql/session.h"
#include "engines/postgresql/values.h"
#include "platform/ado/engine.h"
#include "platform/ado/row_store.h"

namespace orvel::engines::postgresql {

/// A text with its answer. Rows come one at a time, as the server sends them.
///
/// A command's text runs once without a plan, its values in text, which tells the types of its columns. From its second
/// run on it has a plan, and its values come in binary where all their types are known so.
class Statement final : public ado::Statement {
public:
    explicit Statement(std::shared_ptr<Session> ofSession) : session(std::move(ofSession)) {}
    ~Statement() override;

    bool isUsable() const noexcept override { return session->isUsable(); }
    void setTimeout(std::int32_t seconds) override;
    void executeText(const std::string& text) override;
    void executeCommand(ado::CommandText& command, ado::ParameterValues values) override;
    void releaseLargeMemory() noexcept override {}

    std::int32_t columnCount() override { return static_cast<std::int32_t>(columns.size()); }
    std::int64_t changedRows() override { return changed; }
    void finish() override;

    void beginRows() override {}
    bool nextRow() override;
    const std::string& columnName(std::size_t column) const override { return columns[column].name; }
    std::int32_t columnType(std::size_t column) const override { return columns[column].info->type; }
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
    /// The connection is gone: rows that are not in memory are lost.
    void loseConnection() noexcept;

private:
    struct Column {
        std::string name;
        const TypeInfo* info;
    };
    /// How a command runs.
    enum class Way : std::uint8_t { once, planned };

    std::shared_ptr<Session> session;
    std::int32_t timeout = 0;

    // The answer.
    std::vector<Column> columns;
    Format format = Format::text;
    std::int64_t changed = -1;
    Result row;                 ///< the current one
    std::vector<Result> ahead;  ///< rows that came with the first
    std::size_t aheadTaken = 0; ///< of them
    bool isAnswering = false;   ///< more of the answer is to come
    bool isBehindRows = false;
    std::unique_ptr<ado::RowStore> store; ///< of rows that had to be fetched before they were wanted
    bool isFromStore = false;             ///< the current row
    Failure failure;                      ///< behind the rows in the store

    // The trip under way.
    TextTraits traits; ///< of the text; a command's stay
    Guard guard = Guard::none;
    std::string guarded; ///< a text with its guard behind it
    bool wasInTransaction = false;
    std::uint64_t transactionOfRows = 0; ///< 0: none of ours
    bool onlyReads = false;              ///< as far as its first word tells

    // The command.
    bool isRead = false; ///< `traits` are those of the command
    bool isUntyped = false;
    ParameterArrays parameters;
    std::string plan; ///< its name; empty: none
    std::vector<Oid> planTypes;
    bool isBinary = false; ///< all columns of the plan have types that are known in binary

    void begin();
    void refuseCopies() const;
    void runText(const std::string& text);
    void requireMarkers(std::size_t given) const;
    void runCommand(ado::CommandText& command, ado::ParameterValues values);
    bool attempt(Way way, Failure& reason);
    void preparePlan(Failure& reason);
    bool isPlanOutdated(const Failure& reason) noexcept;
    bool isMistyped(const Failure& reason) const noexcept;
    void forgetPlan() noexcept;

    bool sendText(const std::string& text);
    bool send(Way way);
    void failSending(Failure& reason);
    void expectAnswer();
    bool lookAhead(Failure& reason);
    bool receiveFirst(bool describes, Failure& reason);
    Result receive(Failure& reason);
    Result receive(Patience& patience, Failure& reason);
    Result receiveRow(Failure& reason);
    void dropRows() noexcept;
    void readToEnd(Failure& reason);
    void endAnswer(const Failure& reason);
    void describe(const PGresult* result);
    void refuseCopy(const PGresult* result, Failure& reason);
    void storeRow(const PGresult* result);
    void loseRest(std::uint32_t status) noexcept;
    [[noreturn]] void raise(Failure reason) { session->raise(std::move(reason)); }
    RawValue raw(std::size_t column) const noexcept;
};

} // namespace orvel::engines::postgresql

#endif
