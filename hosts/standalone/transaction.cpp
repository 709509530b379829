// Transactions of the standalone host: numbers, and who is told of their ends.
#include "host/transaction.hpp"

#include "session_record.hpp"
#include "standalone_transactions.hpp"

#include <algorithm>

namespace host {

using standalone::current_session;
using standalone::misuse;
using standalone::session;

namespace {

// A transaction is its own first subtransaction.
constexpr subtransaction_number k_transaction = 1;

void tell_all(const session &own, subtransaction_number first) noexcept {
    if (own.depth != 0) {
        return;
    }
    for (int i = 0; i < own.transaction_callback_count; ++i) {
        own.transaction_callbacks[i](first);
    }
}

} // namespace

subtransaction_number current_subtransaction() noexcept {
    const session &own = current_session();
    return own.subtransactions.empty() ? k_transaction : own.subtransactions.back();
}

void watch_transactions(transaction_end_callback callback) {
    session &own = current_session();
    if (standalone::fault_due(standalone::service::allocation)) {
        raise_out_of_memory(sizeof callback); // as on a host that keeps a list of them
    }
    const auto end = own.transaction_callbacks + own.transaction_callback_count;
    if (std::find(own.transaction_callbacks, end, callback) != end) {
        return;
    }
    if (own.transaction_callback_count == standalone::k_most_transaction_callbacks) {
        misuse("too many callbacks for the end of a transaction");
    }
    own.transaction_callbacks[own.transaction_callback_count++] = callback;
}

namespace standalone {

void begin_subtransaction() {
    session &own = current_session();
    own.subtransactions.push_back(++own.last_subtransaction);
}

void release_subtransaction() {
    session &own = current_session();
    if (own.subtransactions.empty()) {
        misuse("no subtransaction to release");
    }
    own.subtransactions.pop_back();
}

void roll_subtransaction_back() {
    const subtransaction_number ended = current_subtransaction();
    release_subtransaction();
    tell_all(current_session(), ended);
}

void commit_transaction() {
    session &own = current_session();
    own.subtransactions.clear();
    own.last_subtransaction = k_transaction;
    tell_all(own, k_transaction);
}

void roll_transaction_back() {
    while (open_subtransactions() != 0) {
        roll_subtransaction_back();
    }
    commit_transaction();
}

std::size_t open_subtransactions() noexcept { return current_session().subtransactions.size(); }

} // namespace standalone
} // namespace host
