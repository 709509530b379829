#include "paths/path_lexer.hpp"

#include <iterator>

namespace pkg_dbe_xml::paths {

namespace {

struct character_range {
    char32_t first;
    char32_t last;
};

// Characters a name begins with, beyond ASCII.
constexpr character_range k_name_starts[] = {
    {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
    {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
    {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
// Those that may follow besides.
constexpr character_range k_name_parts[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t count>
bool is_in(const character_range (&ranges)[count], char32_t character) noexcept {
    for (const character_range &range : ranges) {
        if (character >= range.first && character <= range.last) {
            return true;
        }
    }
    return false;
}

bool is_digit(char byte) noexcept { return byte >= '0' && byte <= '9'; }

bool starts_name(char32_t character) noexcept {
    if (character < 0x80) {
        const char32_t lower = character | 0x20U;
        return (lower >= 'a' && lower <= 'z') || character == '_';
    }
    return is_in(k_name_starts, character);
}

bool continues_name(char32_t character) noexcept {
    return starts_name(character) || (character >= '0' && character <= '9') || character == '-' ||
           character == '.' || is_in(k_name_parts, character);
}

// Whether an operator follows the token, and not an operand.
bool ends_operand(token_kind kind) noexcept {
    switch (kind) {
    case token_kind::number:
    case token_kind::literal:
    case token_kind::variable:
    case token_kind::name:
    case token_kind::function_name:
    case token_kind::node_type:
    case token_kind::axis_name:
    case token_kind::right_parenthesis:
    case token_kind::right_bracket:
    case token_kind::dot:
    case token_kind::two_dots:
        return true;
    default:
        return false;
    }
}

token_kind word_operator(std::string_view name) noexcept {
    if (name == "and") {
        return token_kind::both;
    }
    if (name == "or") {
        return token_kind::either;
    }
    if (name == "div") {
        return token_kind::divide;
    }
    return name == "mod" ? token_kind::modulo : token_kind::bad;
}

bool names_node_type(std::string_view name) noexcept {
    return name == "node" || name == "text" || name == "comment" ||
           name == "processing-instruction";
}

std::size_t character_size(unsigned char lead) noexcept {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

} // namespace

decoded decode(std::string_view text, std::size_t place) noexcept {
    constexpr char32_t k_least[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(text[place]);
    const std::size_t size = character_size(lead);
    if (size <= 1 || text.size() - place < size) {
        return {lead, size == 1 ? 1U : 0U};
    }
    char32_t character = lead & (0x7FU >> size);
    for (std::size_t index = 1; index < size; ++index) {
        const auto byte = static_cast<unsigned char>(text[place + index]);
        if ((byte & 0xC0U) != 0x80U) {
            return {lead, 0};
        }
        character = (character << 6U) | (byte & 0x3FU);
    }
    const bool legal = character >= k_least[size] && character <= 0x10FFFF &&
                       !(character >= 0xD800 && character <= 0xDFFF);
    return {character, legal ? size : 0};
}

token lexer::next() noexcept {
    skip_blanks();
    const token read_token = read();
    operand_before_ = ends_operand(read_token.kind);
    return read_token;
}

void lexer::skip_blanks() noexcept {
    while (place_ < path_.size() && is_blank(path_[place_])) {
        ++place_;
    }
}

token lexer::bad() const noexcept {
    std::size_t size = place_ < path_.size() ? decode(path_, place_).size : 0;
    if (size == 0 && place_ < path_.size()) {
        size = 1;
    }
    return {token_kind::bad, place_, path_.substr(place_, size), {}, {}};
}

token lexer::symbol(token_kind kind, std::size_t size) noexcept {
    const token made{kind, place_, path_.substr(place_, size), {}, {}};
    place_ += size;
    return made;
}

token lexer::read() noexcept {
    if (place_ == path_.size()) {
        return {token_kind::end, place_, {}, {}, {}};
    }
    const char first = path_[place_];
    if (is_digit(first) || (first == '.' && is_digit(at(place_ + 1)))) {
        return read_number();
    }
    if (first == '"' || first == '\'') {
        return read_literal();
    }
    if (first == '$') {
        return read_variable();
    }
    const token sign = read_symbol();
    return sign.kind != token_kind::bad ? sign : read_name();
}

token lexer::read_symbol() noexcept {
    const char second = at(place_ + 1);
    switch (path_[place_]) {
    case '(':
        return symbol(token_kind::left_parenthesis, 1);
    case ')':
        return symbol(token_kind::right_parenthesis, 1);
    case '[':
        return symbol(token_kind::left_bracket, 1);
    case ']':
        return symbol(token_kind::right_bracket, 1);
    case '.':
        return second == '.' ? symbol(token_kind::two_dots, 2) : symbol(token_kind::dot, 1);
    case '@':
        return symbol(token_kind::at, 1);
    case ',':
        return symbol(token_kind::comma, 1);
    case ':':
        return second == ':' ? symbol(token_kind::two_colons, 2) : bad();
    case '/':
        return second == '/' ? symbol(token_kind::two_slashes, 2) : symbol(token_kind::slash, 1);
    case '|':
        return symbol(token_kind::bar, 1);
    case '+':
        return symbol(token_kind::plus, 1);
    case '-':
        return symbol(token_kind::minus, 1);
    case '=':
        return symbol(token_kind::equal, 1);
    case '!':
        return second == '=' ? symbol(token_kind::not_equal, 2) : bad();
    case '<':
        return second == '=' ? symbol(token_kind::less_or_equal, 2) : symbol(token_kind::less, 1);
    case '>':
        return second == '=' ? symbol(token_kind::greater_or_equal, 2)
                             : symbol(token_kind::greater, 1);
    case '*': {
        token star = symbol(operand_before_ ? token_kind::times : token_kind::name, 1);
        star.local = star.text;
        return star;
    }
    default:
        return bad();
    }
}

token lexer::read_number() noexcept {
    std::size_t end = place_;
    while (is_digit(at(end))) {
        ++end;
    }
    if (at(end) == '.') {
        ++end;
        while (is_digit(at(end))) {
            ++end;
        }
    }
    return symbol(token_kind::number, end - place_);
}

token lexer::read_literal() noexcept {
    const std::size_t end = path_.find(path_[place_], place_ + 1);
    if (end == std::string_view::npos) {
        return {token_kind::bad, place_, path_.substr(place_), {}, {}};
    }
    const token literal{
        token_kind::literal, place_, path_.substr(place_ + 1, end - place_ - 1), {}, {}};
    place_ = end + 1;
    return literal;
}

token lexer::read_variable() noexcept {
    const std::size_t start = place_;
    ++place_;
    token variable{token_kind::variable, start, {}, {}, {}};
    if (!qualified_name(variable, false)) {
        place_ = start;
        return bad();
    }
    return variable;
}

token lexer::read_name() noexcept {
    token name{token_kind::name, place_, {}, {}, {}};
    const std::size_t start = place_;
    if (operand_before_) { // an operator follows an operand
        const std::size_t size = name_size(place_);
        const token_kind word = word_operator(path_.substr(place_, size));
        return word == token_kind::bad ? bad() : symbol(word, size);
    }
    if (!qualified_name(name, true)) {
        place_ = start;
        return bad();
    }
    if (name.local == "*") {
        return name;
    }
    const std::size_t end = place_;
    skip_blanks();
    if (at(place_) == '(') {
        name.kind = name.prefix.empty() && names_node_type(name.local) ? token_kind::node_type
                                                                       : token_kind::function_name;
    } else if (name.prefix.empty() && at(place_) == ':' && at(place_ + 1) == ':') {
        name.kind = token_kind::axis_name;
    }
    place_ = end;
    return name;
}

bool lexer::qualified_name(token &read, bool may_end_in_star) noexcept {
    const std::size_t start = place_;
    const std::size_t size = name_size(start);
    if (size == 0) {
        return false;
    }
    read.local = path_.substr(start, size);
    place_ += size;
    if (at(place_) == ':' && at(place_ + 1) != ':') {
        const std::size_t behind =
            may_end_in_star && at(place_ + 1) == '*' ? 1 : name_size(place_ + 1);
        if (behind == 0) {
            return false;
        }
        read.prefix = read.local;
        read.local = path_.substr(place_ + 1, behind);
        place_ += behind + 1;
    }
    read.text = path_.substr(read.start, place_ - read.start);
    return true;
}

// Bytes of the name at `from`, without a colon; 0 when none begins there.
std::size_t lexer::name_size(std::size_t from) const noexcept {
    std::size_t end = from;
    while (end < path_.size()) {
        const decoded next = decode(path_, end);
        if (next.size == 0 ||
            !(end == from ? starts_name(next.character) : continues_name(next.character))) {
            break;
        }
        end += next.size;
    }
    return end - from;
}

} // namespace pkg_dbe_xml::paths
