// The ends of transactions and of their subtransactions.
//
// What is to end with a transaction remembers the subtransaction that made it, by its number. A
// transaction is its own first subtransaction; numbers grow while it lasts, and whatever begins
// within a subtransaction has a higher number than it. So one that is rolled back takes everything
// along that has its number or a higher one and is still there. One that succeeds takes nothing:
// what it made ends with whichever contains it.
#pragma once

#include <cstdint>

namespace host {

using subtransaction_number = std::uint32_t;
// No subtransaction has this number, and every one has a higher one.
inline constexpr subtransaction_number k_no_subtransaction = 0;

// The number of the innermost subtransaction.
[[nodiscard]] subtransaction_number current_subtransaction() noexcept;

// Told that everything made in subtransaction `first`, or in one with a higher number, is at its
// end: the transaction was committed, rolled back or prepared, or that subtransaction rolled back.
//
// The transaction is gone by then. Nothing may be allocated from the host, nothing raised, nothing
// looked up in catalogues, and no request to stop served: an error there could end all sessions of
// a server. It is also not the place for work that takes long, since nobody can cancel it.
//
// It is not called while a call of the library is in progress. What should have ended by then is
// still there at the next end, which is at the latest that of the transaction.
using transaction_end_callback = void (*)(subtransaction_number first) noexcept;

// Has `callback` told of every end from now on, for as long as the session lasts; asking twice is
// once. To be called from within a call, before there is anything to end. Throws when memory runs
// out, and can then be called again.
void watch_transactions(transaction_end_callback callback);

} // namespace host
