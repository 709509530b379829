// The ends of transactions and subtransactions, as the server tells of them.
//
// The server calls back when a transaction was committed, rolled back or prepared, never sooner:
// held cursors and deferred triggers call functions until then. In a session where nothing ends
// with its transaction the server knows of no callback.
#include "host/transaction.hpp"

#include "guard.hpp"
#include "invocation.hpp"
#include "usage.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "server.hpp"

extern "C" {
#include <access/xact.h>
}

namespace host {

static_assert(sizeof(subtransaction_number) == sizeof(SubTransactionId));
static_assert(k_no_subtransaction == InvalidSubTransactionId);

namespace {

// Each part of the library asks once.
constexpr std::size_t k_most_callbacks = 4;
constinit std::array<transaction_end_callback, k_most_callbacks> callbacks{};
constinit std::size_t callback_count = 0;
constinit bool transactions_are_watched = false;
constinit bool subtransactions_are_watched = false;

// A call is in progress when the backend is told to end within it: then what the call was changing
// may be half changed. The same when a subtransaction ends in what a call has asked the server to
// do for it.
void tell_all(subtransaction_number first) noexcept {
    if (call_in_progress()) {
        return;
    }
    for (std::size_t index = 0; index < callback_count; ++index) {
        callbacks[index](first);
    }
    publish_use();
}

void at_transaction_event(XactEvent event, void * /*argument*/) {
    switch (event) {
    case XACT_EVENT_COMMIT:
    case XACT_EVENT_PARALLEL_COMMIT:
    case XACT_EVENT_ABORT:
    case XACT_EVENT_PARALLEL_ABORT:
    case XACT_EVENT_PREPARE:
        tell_all(TopSubTransactionId);
        break;
    case XACT_EVENT_PRE_COMMIT:
    case XACT_EVENT_PARALLEL_PRE_COMMIT:
    case XACT_EVENT_PRE_PREPARE:
        break; // functions may still be called
    }
}

void at_subtransaction_event(SubXactEvent event, SubTransactionId ended,
                             SubTransactionId /*parent*/, void * /*argument*/) {
    if (event == SUBXACT_EVENT_ABORT_SUB) {
        tell_all(ended);
    }
}

} // namespace

subtransaction_number current_subtransaction() noexcept {
    return GetCurrentSubTransactionId(); // reads a number
}

void watch_transactions(transaction_end_callback callback) {
    if (!transactions_are_watched) {
        guard([] { RegisterXactCallback(at_transaction_event, nullptr); });
        transactions_are_watched = true;
    }
    if (!subtransactions_are_watched) {
        guard([] { RegisterSubXactCallback(at_subtransaction_event, nullptr); });
        subtransactions_are_watched = true;
    }
    const auto end = callbacks.begin() + callback_count;
    if (std::find(callbacks.begin(), end, callback) == end) {
        callbacks.at(callback_count) = callback;
        ++callback_count;
    }
}

} // namespace host
