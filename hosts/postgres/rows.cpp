// Sets of rows: the server's tuplestore, filled within the call.
//
// The tuplestore belongs to the query that called, which ends it however the query ends. Rows are
// handed over in batches, since stopping the server's way of failing costs about as much as a row.
#include "host/rows.hpp"

#include "guard.hpp"

#include "server.hpp"

extern "C" {
#include <access/tupdesc.h>
#include <funcapi.h>
#include <nodes/execnodes.h>
#include <utils/tuplestore.h>
}

namespace host {

static_assert(offsetof(call, own_words) + 2 * sizeof(void *) ==
              offsetof(FunctionCallInfoBaseData, resultinfo));

namespace {

constexpr std::size_t k_result_info = 2; // of call::own_words

struct opened_set {
    Tuplestorestate *store;
    TupleDesc shape;
};

// Raises, so only within `guard`.
opened_set open_set(ReturnSetInfo *wanted) {
    if (wanted == nullptr || !IsA(wanted, ReturnSetInfo)) {
        ereport(ERROR, (errcode(ERRCODE_FEATURE_NOT_SUPPORTED),
                        errmsg("set-valued function called in context that cannot accept a set")));
    }
    if ((wanted->allowedModes & SFRM_Materialize) == 0 || wanted->expectedDesc == nullptr) {
        ereport(ERROR,
                (errcode(ERRCODE_FEATURE_NOT_SUPPORTED),
                 errmsg("materialize mode required, but it is not allowed in this context")));
    }
    const MemoryContext before = MemoryContextSwitchTo(wanted->econtext->ecxt_per_query_memory);
    const bool random = (wanted->allowedModes & SFRM_Materialize_Random) != 0;
    const TupleDesc shape = CreateTupleDescCopy(wanted->expectedDesc);
    Tuplestorestate *const store = tuplestore_begin_heap(random, false, work_mem);
    MemoryContextSwitchTo(before);
    wanted->returnMode = SFRM_Materialize;
    wanted->setResult = store;
    wanted->setDesc = shape;
    return {store, shape};
}

} // namespace

row_set::row_set(call &frame) : frame_(frame) {
    auto *const wanted = static_cast<ReturnSetInfo *>(frame.own_words[k_result_info]);
    opened_set opened{};
    guard([&opened, wanted] { opened = open_set(wanted); });
    store_ = opened.store;
    shape_ = opened.shape;
}

void row_set::hand_over() {
    auto *const store = static_cast<Tuplestorestate *>(store_);
    const TupleDesc shape = static_cast<TupleDesc>(shape_);
    guard([this, store, shape] {
        CHECK_FOR_INTERRUPTS();
        bool is_null = false;
        for (std::size_t row = 0; row < count_; ++row) {
            tuplestore_putvalues(store, shape, values_ + row, &is_null);
        }
    });
    count_ = 0;
    used_ = 0;
}

datum row_set::finish() {
    if (count_ != 0) {
        hand_over();
    }
    return frame_.null();
}

} // namespace host
