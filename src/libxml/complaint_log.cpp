// What a parse complained of. See complaint_log.hpp.
#include "libxml/complaint_log.hpp"

#include "message_line.hpp"

#include <libxml/xmlmemory.h>

#include <algorithm>
#include <cstring>

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE complaint_log *current_log = nullptr;

namespace {

constexpr std::size_t k_longest_message = 1000;
constexpr std::size_t k_first_capacity = 1024;

} // namespace

bool complaint_log::reserve(std::size_t bytes) noexcept {
    if (bytes <= capacity_) {
        return true;
    }
    const std::size_t wanted = std::max({bytes, capacity_ * 2, k_first_capacity});
    auto *const moved = static_cast<char *>(xmlRealloc(bytes_, wanted));
    if (moved == nullptr) {
        return false;
    }
    bytes_ = moved;
    capacity_ = wanted;
    return true;
}

void complaint_log::add(complaint_level level, bool is_validity, int line,
                        std::string_view message) noexcept {
    message = pkg_dbe_xml::message_line(message, k_longest_message);
    const std::size_t size = sizeof(head) + message.size();
    if (count_ == k_most || size_ + size > k_most_bytes || !reserve(size_ + size)) {
        left_out_ += left_out_ == UINT32_MAX ? 0 : 1;
        return;
    }
    const head start{line, static_cast<std::uint16_t>(message.size()), level, is_validity};
    std::memcpy(bytes_ + size_, &start, sizeof start);
    std::transform(message.begin(), message.end(), bytes_ + size_ + sizeof start,
                   pkg_dbe_xml::message_byte);
    size_ += size;
    ++count_;
}

void complaint_log::forget() noexcept {
    xmlFree(bytes_);
    bytes_ = nullptr;
    size_ = capacity_ = 0;
    count_ = left_out_ = 0;
}

void complaint_log::forget_validity() noexcept {
    std::size_t kept = 0;
    std::uint32_t count = 0;
    for (std::size_t place = 0; place < size_;) {
        const std::size_t start = place;
        const bool stays = !read(place).is_validity;
        if (stays) {
            std::memmove(bytes_ + kept, bytes_ + start, place - start);
            kept += place - start;
            ++count;
        }
    }
    size_ = kept;
    count_ = count;
}

logged_complaint complaint_log::read(std::size_t &place) const noexcept {
    head start{};
    std::memcpy(&start, bytes_ + place, sizeof start);
    const char *const message = bytes_ + place + sizeof start;
    place += sizeof start + start.size;
    return {start.level, start.is_validity, start.line, {message, start.size}};
}

void log_complaint(const xmlError &error, bool is_validity, int line) noexcept {
    const complaint_level level = error.level == XML_ERR_FATAL   ? complaint_level::fatal
                                  : error.level == XML_ERR_ERROR ? complaint_level::error
                                                                 : complaint_level::warning;
    current_log->add(level, is_validity, line, error.message == nullptr ? "" : error.message);
}

} // namespace host
