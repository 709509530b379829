// See record_path.hpp.
#include "stream/record_path.hpp"

#include "edit/legal_text.hpp"
#include "libxml/xml.hpp"
#include "stream_reports.hpp"
#include "tree/text_compare.hpp"

#include <charconv>
#include <cstring>
#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr std::size_t k_longest_name = 1000;

constexpr bool is_blank(char byte) noexcept {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

class reader {
  public:
    reader(record_path &path, std::string_view text, std::span<const path_binding> namespaces,
           xmlDictPtr dictionary) noexcept
        : path_(path), text_(text), namespaces_(namespaces), dictionary_(dictionary) {}

    void read() {
        bool deep = slashes();
        do {
            step(deep);
            skip_blanks();
            if (place_ == text_.size()) {
                return;
            }
            if (text_[place_] != '/') {
                fail("\"/\" expected");
            }
            deep = slashes();
        } while (true);
    }

  private:
    void skip_blanks() noexcept {
        while (place_ < text_.size() && is_blank(text_[place_])) {
            ++place_;
        }
    }
    // One slash, two or none; true for two.
    bool slashes() {
        skip_blanks();
        const std::size_t begin = place_;
        while (place_ < text_.size() && text_[place_] == '/') {
            ++place_;
        }
        const std::size_t count = place_ - begin;
        if (count > 2) {
            fail("a name or * expected");
        }
        if (count == 2 && std::exchange(has_deep_, true)) {
            place_ = begin;
            fail("a second // is not possible");
        }
        skip_blanks();
        return count == 2;
    }
    void step(bool deep) {
        if (path_.count == path_.steps.size()) {
            fail("more than 60 steps");
        }
        const std::string_view first = name_or_star();
        record_step &made = path_.steps[path_.count];
        made = {nullptr, nullptr, false, deep};
        if (first != "*" && place_ < text_.size() && text_[place_] == ':') {
            ++place_;
            made.uri = keep(uri_of(first));
            const std::string_view local = name_or_star();
            made.name = local == "*" ? nullptr : keep(local);
        } else {
            made.any_namespace = first == "*";
            made.name = first == "*" ? nullptr : keep(first);
        }
        ++path_.count;
    }
    std::string_view name_or_star() {
        const std::size_t begin = place_;
        while (place_ < text_.size() && text_[place_] != '/' && text_[place_] != ':' &&
               !is_blank(text_[place_])) {
            ++place_;
        }
        const std::string_view found = text_.substr(begin, place_ - begin);
        if (found != "*" && !is_name(found)) {
            place_ = begin;
            fail("a name or * expected");
        }
        return found;
    }
    [[nodiscard]] static bool is_name(std::string_view text) noexcept {
        xmlChar bytes[k_longest_name + 1];
        if (text.size() > k_longest_name) {
            return false;
        }
        std::memcpy(bytes, text.data(), text.size());
        bytes[text.size()] = 0;
        return check_plain_name(bytes).passed();
    }
    [[nodiscard]] std::string_view uri_of(std::string_view prefix) const {
        for (std::size_t index = namespaces_.size(); index > 0; --index) {
            if (namespaces_[index - 1].name == prefix && !namespaces_[index - 1].value.empty()) {
                return namespaces_[index - 1].value;
            }
        }
        if (prefix == "xml") {
            return k_xml_uri;
        }
        report(reports::record_path_prefix, {prefix});
    }
    [[nodiscard]] const xmlChar *keep(std::string_view text) const {
        const host::tree_scope scope;
        const xmlChar *const kept =
            xmlDictLookup(dictionary_, reinterpret_cast<const xmlChar *>(text.data()),
                          static_cast<int>(text.size()));
        if (kept == nullptr) {
            report(reports::out_of_memory);
        }
        return kept;
    }
    [[noreturn]] void fail(std::string_view what) const {
        std::size_t character = 1;
        for (const char byte : text_.substr(0, place_)) {
            character += (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
        }
        char digits[24];
        const char *const end = std::to_chars(digits, digits + sizeof digits, character).ptr;
        report(reports::record_path_syntax,
               {std::string_view(digits, static_cast<std::size_t>(end - digits)), what});
    }

    record_path &path_;
    std::string_view text_;
    std::span<const path_binding> namespaces_;
    xmlDictPtr dictionary_;
    std::size_t place_ = 0;
    bool has_deep_ = false;
};

// Most names of a dictionary differ in their addresses, and then in a letter.
[[nodiscard]] bool is_same(const xmlChar *left, const xmlChar *right) noexcept {
    return left == right || xmlStrEqual(left, right) != 0;
}

[[nodiscard]] bool matches(const record_step &step, const xmlChar *name,
                           const xmlChar *uri) noexcept {
    if (step.name != nullptr && !is_same(step.name, name)) {
        return false;
    }
    return step.any_namespace || is_same(step.uri, uri);
}

} // namespace

path_states record_path::below(path_states above, const xmlChar *name,
                               const xmlChar *uri) const noexcept {
    path_states states = 0;
    for (std::size_t step = 0; step < count; ++step) {
        if (((above >> step) & 1U) == 0) {
            continue;
        }
        if (steps[step].at_any_depth) {
            states |= path_states{1} << step;
        }
        if (matches(steps[step], name, uri)) {
            states |= path_states{1} << (step + 1);
        }
    }
    return states;
}

void read_record_path(record_path &path, std::string_view text,
                      std::span<const path_binding> namespaces, xmlDictPtr dictionary) {
    path.count = 0;
    reader(path, text, namespaces, dictionary).read();
}

} // namespace pkg_dbe_xml
