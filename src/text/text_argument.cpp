// Text in and out of the library.
#include "text/text_argument.hpp"

#include "error_reports.hpp"

#include <cstring>

namespace pkg_dbe_xml {
namespace {

char *as_characters(const xmlChar *text) noexcept {
    // The conversion reads its argument only, though it may give it back.
    return const_cast<char *>(reinterpret_cast<const char *>(text));
}

void free_host_memory(void *memory) noexcept {
    host::mmgr_free_with_fl(memory, __FILE__, __LINE__);
}

} // namespace

text_argument::text_argument(host::datum value) : bytes_(room_), size_(0), host_memory_(false) {
    const host::varlena *stored = host::pg_detoast_datum(value);
    const std::string_view text = host::text_view(stored);
    if (text.size() >= sizeof room_) {
        bytes_ = static_cast<char *>(host::mmgr_memory_alloc_from_controller(
            host::current_memory_context(), text.size() + 1));
        host_memory_ = true;
    }
    if (!text.empty()) {
        std::memcpy(bytes_, text.data(), text.size());
    }
    bytes_[text.size()] = '\0';
    size_ = std::strlen(bytes_);
    if (static_cast<const void *>(stored) != reinterpret_cast<const void *>(value)) {
        free_host_memory(const_cast<host::varlena *>(stored));
    }
}

text_argument::~text_argument() { release(); }

void text_argument::release() noexcept {
    if (host_memory_) {
        free_host_memory(bytes_);
        host_memory_ = false;
    }
}

text_argument &text_argument::to_utf8() {
    const int encoding = host::mb_get_database_encoding();
    if (encoding == host::k_utf8) {
        return *this;
    }
    char *converted = host::mb_do_encoding_conversion(bytes_, size_, encoding, host::k_utf8, false);
    if (converted != bytes_) {
        release();
        bytes_ = converted;
        host_memory_ = true;
        size_ = std::strlen(converted);
    }
    return *this;
}

host::datum text_result(const xmlChar *text, std::size_t size) {
    const int encoding = host::mb_get_database_encoding();
    char *const original = as_characters(text);
    char *converted = original;
    if (encoding != host::k_utf8) {
        converted = host::mb_do_encoding_conversion(original, size, host::k_utf8, encoding, false);
    }
    const std::size_t length = converted == original ? size : std::strlen(converted);
    host::varlena *const value =
        asserted(host::cstring_to_text_with_length(converted, length), k_no_result_room);
    if (converted != original) {
        free_host_memory(converted);
    }
    return host::from_pointer(value);
}

} // namespace pkg_dbe_xml
