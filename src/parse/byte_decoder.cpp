// See byte_decoder.hpp.
#include "parse/byte_decoder.hpp"

#include "error_reports.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"

#include <algorithm>

namespace pkg_dbe_xml {

namespace {

// An XML declaration is shorter; the first bytes are looked at as far.
constexpr std::size_t k_longest_declaration = 1024;
constexpr std::size_t k_piece = 65536;

// Whether more bytes could say something else of the encoding.
[[nodiscard]] bool is_undecided(std::string_view beginning) noexcept {
    constexpr std::string_view k_declaration = "<?xml";
    if (beginning.size() < 4 || beginning == k_declaration.substr(0, beginning.size())) {
        return true;
    }
    return beginning.starts_with(k_declaration) && beginning.size() < k_longest_declaration &&
           beginning.find("?>") == std::string_view::npos;
}

[[nodiscard]] std::string_view content_of(const xmlBuffer *buffer) noexcept {
    return {reinterpret_cast<const char *>(xmlBufferContent(buffer)),
            static_cast<std::size_t>(xmlBufferLength(buffer))};
}

} // namespace

bool byte_decoder::holds_bytes() const noexcept {
    return (!decided_ && !beginning_.empty()) ||
           (rest_ != nullptr && xmlBufferLength(rest_.get()) != 0);
}

const char *byte_decoder::encoding() const noexcept {
    return encoding_.name[0] == '\0' ? "UTF-8" : encoding_.name.data();
}

void byte_decoder::decide() {
    encoding_ = encoding_of({beginning_.data(), beginning_.size()});
    if (encoding_.name[0] != '\0') {
        const host::xml_scope scope;
        handler_ = find_encoding_handler(encoding_.name.data());
        if (handler_ == nullptr && !scope.refused()) {
            report(reports::unsupported_character_set);
        }
        rest_.reset(xmlBufferCreate());
        converted_.reset(xmlBufferCreate());
        if (rest_ == nullptr || converted_ == nullptr || scope.refused()) {
            report(reports::out_of_memory);
        }
        xmlBufferSetAllocationScheme(converted_.get(), XML_BUFFER_ALLOC_DOUBLEIT);
    }
    decided_ = true;
}

bool byte_decoder::add(std::string_view bytes, piece_of_text &text) {
    if (decided_) {
        return convert(bytes, text);
    }
    const std::size_t taken = std::min(bytes.size(), k_longest_declaration);
    beginning_.append(bytes.data(), taken);
    bytes.remove_prefix(taken);
    if (bytes.empty() && is_undecided({beginning_.data(), beginning_.size()})) {
        return true;
    }
    decide();
    const std::string_view first(beginning_.data() + encoding_.mark,
                                 beginning_.size() - encoding_.mark);
    return convert(first, text) && convert(bytes, text);
}

// A character that the piece cuts stays in what is left. libxml2 makes room for two bytes for each
// one, and stops where that does not do.
bool byte_decoder::convert_piece(std::string_view bytes) {
    const host::xml_scope scope;
    bool done = xmlBufferAdd(rest_.get(), reinterpret_cast<const xmlChar *>(bytes.data()),
                             static_cast<int>(bytes.size())) == 0;
    int left = xmlBufferLength(rest_.get());
    int before = left + 1;
    while (done && left > 0 && left < before) {
        before = left;
        static_cast<void>(xmlCharEncInFunc(handler_.get(), converted_.get(), rest_.get()));
        left = xmlBufferLength(rest_.get());
        done = !scope.refused();
    }
    if (!done) {
        report(reports::out_of_memory);
    }
    return left <= k_cut_character;
}

bool byte_decoder::convert(std::string_view bytes, piece_of_text &text) {
    if (handler_ == nullptr) {
        text.append(bytes.data(), bytes.size());
        return true;
    }
    while (!bytes.empty()) {
        const std::size_t size = std::min(bytes.size(), k_piece);
        const bool is_text = convert_piece(bytes.substr(0, size));
        bytes.remove_prefix(size);
        const std::string_view made = content_of(converted_.get());
        text.append(made.data(), made.size());
        xmlBufferEmpty(converted_.get());
        if (!is_text) {
            return false;
        }
        host::check_for_interrupts();
    }
    return true;
}

} // namespace pkg_dbe_xml
