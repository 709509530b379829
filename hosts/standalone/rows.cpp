// Sets of rows on the standalone host: copies of the values in the caller's context, whose
// addresses the record of the call lists.
#include "host/rows.hpp"

#include "host/text.hpp"
#include "session_record.hpp"

#include <cstring>

namespace host {

namespace {

constexpr std::size_t k_record = 2; // of call::own_words, set by `invoke`

} // namespace

row_set::row_set(call &frame)
    : frame_(frame), store_(&static_cast<call_record *>(frame.own_words[k_record])->rows),
      shape_(nullptr) {
    standalone::fault_point(standalone::service::rows);
    static_cast<std::vector<datum> *>(store_)->clear();
}

void row_set::hand_over() {
    standalone::fault_point(standalone::service::rows);
    check_for_interrupts();
    auto &rows = *static_cast<std::vector<datum> *>(store_);
    for (std::size_t row = 0; row < count_; ++row) {
        const auto *const value = reinterpret_cast<const varlena *>(values_[row]);
        const std::size_t size = total_size(value);
        void *const copy = mmgr_memory_alloc_from_controller(current_memory_context(), size);
        std::memcpy(copy, value, size);
        rows.push_back(from_pointer(copy));
    }
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
