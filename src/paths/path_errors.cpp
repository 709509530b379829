// What is wrong with a path, with its place: the character, and a line that points at it.

#include "path_reports.hpp"
#include "paths/path_compiler.hpp"

#include <array>
#include <charconv>
#include <cstring>

namespace pkg_dbe_xml::paths {

namespace {

// Characters of the path shown before and behind the place.
constexpr std::size_t k_shown_before = 40;
constexpr std::size_t k_shown_behind = 30;

struct decimal {
    explicit decimal(std::size_t number) noexcept {
        end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    }
    [[nodiscard]] std::string_view view() const noexcept {
        return {digits.data(), static_cast<std::size_t>(end - digits.data())};
    }
    std::array<char, 24> digits;
    char *end;
};

bool continues_character(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::size_t characters(std::string_view text) noexcept {
    std::size_t count = 0;
    for (const char byte : text) {
        count += !continues_character(byte);
    }
    return count;
}

// A line of the path around the place, and below it a caret.
struct marked_path {
    explicit marked_path(const error_place &place) noexcept {
        std::size_t begin = place.start;
        for (std::size_t back = 0; begin > 0 && back < k_shown_before; ++back) {
            do {
                --begin;
            } while (begin > 0 && continues_character(place.path[begin]));
        }
        std::size_t stop = place.start;
        for (std::size_t ahead = 0; stop < place.path.size() && ahead < k_shown_behind; ++ahead) {
            do {
                ++stop;
            } while (stop < place.path.size() && continues_character(place.path[stop]));
        }
        append("path:\n    ");
        append(begin > 0 ? "..." : "");
        append_line(place.path.substr(begin, stop - begin));
        append(stop < place.path.size() ? "...\n" : "\n");
        const std::size_t indent =
            4 + (begin > 0 ? 3 : 0) + characters(place.path.substr(begin, place.start - begin));
        for (std::size_t column = 0; column < indent; ++column) {
            append(" ");
        }
        append("^");
    }
    [[nodiscard]] std::string_view view() const noexcept { return {bytes.data(), size}; }

  private:
    void append(std::string_view part) noexcept {
        if (part.size() <= bytes.size() - size) {
            std::memcpy(bytes.data() + size, part.data(), part.size());
            size += part.size();
        }
    }
    void append_line(std::string_view part) noexcept {
        for (const char &byte : part) {
            append(static_cast<unsigned char>(byte) < ' ' ? " " : std::string_view(&byte, 1));
        }
    }
    std::array<char, 512> bytes;
    std::size_t size = 0;
};

decimal position_of(const error_place &place) noexcept {
    return decimal(characters(place.path.substr(0, place.start)) + 1);
}

// A piece of the path as it stands in a message.
std::string_view shortened(std::string_view text) noexcept {
    constexpr std::size_t k_longest = 64;
    if (text.size() <= k_longest) {
        return text;
    }
    std::size_t size = k_longest;
    while (size > 0 && continues_character(text[size])) {
        --size;
    }
    return text.substr(0, size);
}

} // namespace

std::string_view type_name(value_type type) noexcept {
    switch (type) {
    case value_type::nodes:
        return "a set of nodes";
    case value_type::number:
        return "a number";
    case value_type::text:
        return "a text";
    case value_type::truth:
        break;
    }
    return "a truth value";
}

void report_syntax(const error_place &place, std::string_view expected, std::string_view found) {
    const decimal position = position_of(place);
    const marked_path marked(place);
    if (found.empty()) {
        report(reports::path_ends_early, {expected}, {}, marked.view());
    }
    report(reports::path_syntax, {position.view(), expected, shortened(found)}, {}, marked.view());
}

void report_unknown(const error_place &place, std::string_view what, std::string_view name,
                    std::string_view advice) {
    const decimal position = position_of(place);
    const marked_path marked(place);
    report(reports::unknown_path_name, {what, shortened(name), position.view()}, {advice},
           marked.view());
}

void report_type(const error_place &place, std::string_view what, std::string_view given) {
    const decimal position = position_of(place);
    const marked_path marked(place);
    report(reports::wrong_path_type, {what, position.view(), given}, {}, marked.view());
}

void report_argument_count(const error_place &place, std::string_view name, std::string_view wanted,
                           std::size_t given) {
    const decimal position = position_of(place);
    const decimal count(given);
    const marked_path marked(place);
    report(reports::wrong_argument_count, {name, position.view(), wanted, count.view()}, {},
           marked.view());
}

void report_depth(const error_place &place) {
    const decimal position = position_of(place);
    report(reports::path_too_deep, {position.view()});
}

} // namespace pkg_dbe_xml::paths
