// A text result while it is being written: growing, counting, and handing the value over.

#include "text/text_output.hpp"

#include "host/memory.hpp"

#include <algorithm>

namespace pkg_dbe_xml {

namespace {

// First allocation, in bytes: what makes growing on from the room inside the object worth it.
constexpr std::size_t k_first_allocation = 32768;
// Pieces in which long strings are taken once nothing is kept any more.
constexpr std::size_t k_counted_piece = 4096;

} // namespace

// Doubles, so that the copying is linear in all, and starts over where nothing is kept any more.
void text_output::grow(std::size_t count) {
    if (sink_ != nullptr && static_cast<std::size_t>(end_ - begin_) >= sink_->room) {
        flush();
        if (static_cast<std::size_t>(end_ - begin_) >= count) {
            return;
        }
    }
    auto used = static_cast<std::size_t>(next_ - begin_);
    if (overflowed()) {
        dropped_ += static_cast<std::int64_t>(used);
        next_ = begin_;
        used = 0;
        if (static_cast<std::size_t>(end_ - begin_) >= count) {
            return;
        }
    }
    const std::size_t wanted =
        sink_ != nullptr ? sink_->room + host::k_long_header : k_first_allocation;
    const std::size_t size =
        std::max({wanted, 2 * (used + host::k_long_header), used + count + host::k_long_header});
    char *memory = nullptr;
    if (memory_ != nullptr) {
        memory = static_cast<char *>(host::mmgr_resize(memory_, size));
    } else {
        memory =
            static_cast<char *>(host::mmgr_memory_alloc_huge(host::current_memory_context(), size));
        host::copy_bytes(memory + host::k_long_header, size - host::k_long_header, begin_, used);
    }
    memory_ = memory;
    begin_ = memory + host::k_long_header;
    next_ = begin_ + used;
    end_ = memory + size;
}

void text_output::flush() {
    const std::string_view collected(begin_, static_cast<std::size_t>(next_ - begin_));
    next_ = begin_;
    dropped_ += static_cast<std::int64_t>(collected.size());
    if (!collected.empty()) {
        sink_->take(sink_->state, collected);
    }
}

// For bytes that there is no room for: makes it, or hands them on, or only counts them.
void text_output::append_slowly(std::string_view bytes) {
    if (sink_ != nullptr && bytes.size() > sink_->room) {
        flush();
        dropped_ += static_cast<std::int64_t>(bytes.size());
        sink_->take(sink_->state, bytes);
        return;
    }
    while (!bytes.empty()) {
        const std::size_t piece =
            overflowed() ? std::min(bytes.size(), k_counted_piece) : bytes.size();
        char *const next = room(piece);
        host::copy_bytes(next, static_cast<std::size_t>(end_ - next), bytes.data(), piece);
        advance_to(next + piece);
        bytes.remove_prefix(piece);
    }
}

char *text_output::c_str() {
    *room(1) = '\0';
    return begin_;
}

void text_output::clear() noexcept {
    if (sink_ != nullptr && dropped_ != 0) {
        sink_->start_over(sink_->state);
    }
    next_ = begin_;
    dropped_ = 0;
}

host::varlena *text_output::take_value() {
    const std::size_t total = host::k_long_header + static_cast<std::size_t>(next_ - begin_);
    if (memory_ == nullptr) {
        auto *const value = static_cast<host::varlena *>(host::allocate_result(total));
        host::copy_bytes(value, total, begin_ - host::k_long_header, total);
        host::set_total_size(value, total);
        clear();
        return value;
    }
    if (static_cast<std::size_t>(end_ - next_) > total / 8) {
        begin_ = static_cast<char *>(host::mmgr_resize(memory_, total)) + host::k_long_header;
        memory_ = begin_ - host::k_long_header;
    }
    auto *const value = reinterpret_cast<host::varlena *>(memory_);
    host::set_total_size(value, total);
    memory_ = nullptr;
    begin_ = room_ + host::k_long_header;
    end_ = room_ + sizeof room_;
    clear();
    return value;
}

} // namespace pkg_dbe_xml
