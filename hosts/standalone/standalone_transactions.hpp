// Transactions of the standalone host. A session is always in one, the next begins where one ends.
#pragma once

#include <cstddef>

namespace host::standalone {

// Begins a subtransaction within the innermost one.
void begin_subtransaction();
// Ends the innermost one: it succeeds, or is rolled back. There must be one.
void release_subtransaction();
void roll_subtransaction_back();
// Ends the transaction with all that it contains. Subtransactions are rolled back one by one.
void commit_transaction();
void roll_transaction_back();
// Subtransactions that are open within the transaction.
[[nodiscard]] std::size_t open_subtransactions() noexcept;

} // namespace host::standalone
