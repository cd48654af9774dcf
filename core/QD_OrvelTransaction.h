#ifndef QD_ORVEL_TRANSACTION_H
#define QD_ORVEL_TRANSACTION_H

#include "QD_OrvelConnection.h"
#include "QD_OrvelExport.h"

struct QD_OrvelTransactionState;

/// How a transaction begins; bits, others are ignored. With both set, IMMEDIATE wins on SQLite.
enum QD_OrvelTransactionFlags : unsigned int {
    QD_ORVEL_TRANSACTION_DEFERRED = 0,  ///< SQLite: locks as statements need them; ADO: read committed
    QD_ORVEL_TRANSACTION_IMMEDIATE = 2, ///< SQLite: the write lock at once; ADO: serializable
    QD_ORVEL_TRANSACTION_EXCLUSIVE = 4, ///< SQLite: nobody else at all; ADO: serializable
};

/// A transaction that ends with its scope: committed when told to, otherwise aborted.
///
/// Transactions nest by counting, per connection: the outermost begin and the matching last commit or abort
/// reach the database, everything between only counts. An inner abort therefore rolls nothing back; what the
/// nest has done is committed or rolled back by whichever call ends it. Objects on one connection end in
/// reverse order of their beginning. When a begin fails in the database, replace the connection: it counts the
/// begin all the same.
///
/// When the engine rolls the transaction back by itself, its commit fails. SQLite refuses the statements
/// before the commit as well (34, provider code 4), servers the commit alone (16, status 0x8004D019).
///
/// The object keeps the connection alive and belongs to the same thread. Never copy or assign one: both
/// objects would free the same state.
class QD_ORVEL_EXPORT QD_OrvelTransaction {
public:
    /// @param connection  empty: `begin` fails with 12
    /// @param flags       QD_OrvelTransactionFlags
    /// @param beginNow    begin at once; when that fails, the connection is kept for good, with the file it has open
    /// @param name        passed to the provider, which does not use it; null counts as empty
    /// @throws QD_OrvelException  32 out of memory; with `beginNow` what `begin` raises
    QD_OrvelTransaction(QD_OrvelConnectionHandle& connection, unsigned int flags, bool beginNow,
                        const char* name);

    /// Aborts when active. Never throws; a failing abort is logged.
    ~QD_OrvelTransaction();

    /// Does nothing when active; after a commit or abort it begins again.
    ///
    /// @throws QD_OrvelException  12 no connection or not open, 31 busy, 34 or 15 the database refused
    void begin();

    /// Does nothing when not active. When it fails, the transaction stays active and its destruction aborts it; to
    /// commit again is then error 18, because the connection has counted the first attempt.
    ///
    /// @throws QD_OrvelException  12 not open, 31 busy, 34 or 16 the database refused, 18 nothing was begun
    void commit();

    /// Does nothing when not active.
    ///
    /// @throws QD_OrvelException  12 not open, 34 or 17 the database refused, 18 nothing was begun
    void abort();

private:
    QD_OrvelTransactionState* state;
};

#endif
