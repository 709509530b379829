// The tokens of a path, by the language's rules for telling names from operators.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml::paths {

enum class token_kind : std::uint8_t {
    end,
    number,
    literal,
    variable,      // $name
    name,          // a name test: name, prefix:name, prefix:*, *
    function_name, // before "("
    node_type,     // comment, text, processing-instruction, node before "("
    axis_name,     // before "::"
    left_parenthesis,
    right_parenthesis,
    left_bracket,
    right_bracket,
    dot,
    two_dots,
    at,
    comma,
    two_colons,
    slash,
    two_slashes,
    bar,
    plus,
    minus,
    times,
    divide,
    modulo,
    either,
    both,
    equal,
    not_equal,
    less,
    less_or_equal,
    greater,
    greater_or_equal,
    bad // nothing of the language
};

struct token {
    token_kind kind;
    std::size_t start;       // bytes from the beginning of the path
    std::string_view text;   // the token as it is written; of a literal what stands in the quotes
    std::string_view prefix; // of a name with a colon
    std::string_view local;  // behind the colon; the whole name where there is none
};

class lexer {
  public:
    explicit lexer(std::string_view path) noexcept : path_(path) {}
    // The next token. At what is nothing of the language: `bad`, again and again.
    [[nodiscard]] token next() noexcept;

  private:
    [[nodiscard]] token read() noexcept;
    [[nodiscard]] token symbol(token_kind kind, std::size_t size) noexcept;
    [[nodiscard]] token read_symbol() noexcept;
    [[nodiscard]] token read_number() noexcept;
    [[nodiscard]] token read_literal() noexcept;
    [[nodiscard]] token read_variable() noexcept;
    [[nodiscard]] token read_name() noexcept;
    [[nodiscard]] token bad() const noexcept;
    // Reads a name with at most one colon at `place_`; false when there is none.
    [[nodiscard]] bool qualified_name(token &read, bool may_end_in_star) noexcept;
    [[nodiscard]] std::size_t name_size(std::size_t from) const noexcept;
    [[nodiscard]] char at(std::size_t place) const noexcept {
        return place < path_.size() ? path_[place] : '\0';
    }
    void skip_blanks() noexcept;

    std::string_view path_;
    std::size_t place_ = 0;
    bool operand_before_ = false; // the last token ends an operand: an operator follows
};

// The UTF-8 character at `place` and its size in bytes; size 0 where the bytes are none.
struct decoded {
    char32_t character;
    std::size_t size;
};
[[nodiscard]] decoded decode(std::string_view text, std::size_t place) noexcept;

[[nodiscard]] constexpr bool is_blank(char byte) noexcept {
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

} // namespace pkg_dbe_xml::paths
