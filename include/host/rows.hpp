// The rows of a set: what a function gives that stands in FROM or gives one row after the other.
//
// All rows are handed over within the call. So nothing of the library lives between two rows, and a
// set that its reader abandons (LIMIT, an error, a cursor that is closed) leaves nothing behind:
// the host alone holds the rows. Rows that do not fit the host's memory for one query go to its
// temporary files.
#pragma once

#include "host/call.hpp"

#include <cstddef>
#include <cstring>

namespace host {

// A set under way. Begin it before anything else, also for a set without rows, and end the body
// with `return rows.finish();`.
//
//   host::row_set rows(call);
//   while (...) {
//       rows.put_value(value, size);
//   }
//   return rows.finish();
class row_set {
  public:
    // Throws the host's own error when the function was called where a set cannot be used.
    explicit row_set(call &frame);
    row_set(const row_set &) = delete;
    row_set &operator=(const row_set &) = delete;

    // Room for a row whose one column is a value of `size` bytes, header included, at most
    // k_longest_copy; the caller writes it before the next call. Throws when memory runs out or the
    // statement was asked to stop.
    [[nodiscard]] std::byte *put_copied(std::size_t size) {
        if (count_ == k_batch || size > sizeof bytes_ - used_) [[unlikely]] {
            hand_over();
        }
        std::byte *const room = bytes_ + used_;
        used_ += (size + 7) & ~static_cast<std::size_t>(7);
        values_[count_++] = from_pointer(room);
        return room;
    }
    // A row whose one column is this word, or the value that it points at, which lives until the
    // next row is put or the set is finished. Throws as above.
    void put(datum value) {
        values_[count_++] = value;
        hand_over();
    }
    // Hands over what is left; the result of the body. Throws as above.
    [[nodiscard]] datum finish();

    static constexpr std::size_t k_longest_copy = 128;

  private:
    void hand_over();

    static constexpr std::size_t k_batch = 128; // rows handed over at once
    call &frame_;
    void *store_; // the host's
    [[maybe_unused]] void *shape_;
    std::size_t count_ = 0;
    std::size_t used_ = 0;
    datum values_[k_batch];
    alignas(8) std::byte bytes_[k_batch * 24];
};

} // namespace host
