// The texts of nodes, and the functions that work on texts. Long texts are read in pieces, with a
// look at the counter between them.

#include "growing_array.hpp"
#include "paths/path_evaluator.hpp"
#include "paths/path_lexer.hpp"
#include "paths/path_numbers.hpp"
#include "tree/node_text.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace pkg_dbe_xml::paths {

namespace {

// Bytes of a text between two looks at the counter.
constexpr std::size_t k_piece = 65536;

bool continues_character(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The character at `place`; a byte that is none counts as one.
decoded next_character(std::string_view text, std::size_t place) noexcept {
    decoded read = decode(text, place);
    if (read.size == 0) {
        read.size = 1;
    }
    return read;
}

// What translate() puts for a character.
struct translation {
    char32_t from;
    std::string_view to; // "" takes it out
};

} // namespace

// --- texts of nodes
// -------------------------------------------------------------------------------

std::string_view evaluator::text_of(const xmlNode *node) {
    if (is_namespace(node)) {
        const xmlNs *record = as_namespace(node)->record;
        return record == nullptr ? "http://www.w3.org/XML/1998/namespace" : view_of(record->href);
    }
    const xmlNode *below = node;
    if (has_content(node) || is_attribute(node)) {
        below = node->children;
        if (below == nullptr) {
            return {"", 0};
        }
        if (below->next != nullptr || !is_text(below)) {
            path_array<char> collected;
            if (is_attribute(node)) {
                append_node_text(collected, node);
            } else {
                collect_texts(collected, node);
            }
            return {collected.members == nullptr ? "" : collected.members, collected.size};
        }
    } else if (node->type == XML_ENTITY_REF_NODE) {
        path_array<char> collected;
        append_node_text(collected, node);
        return {collected.members == nullptr ? "" : collected.members, collected.size};
    }
    const std::string_view own = view_of(own_content(below));
    spend_bytes(own.size());
    return own.data() == nullptr ? std::string_view("") : own;
}

// The text of an attribute or an entity reference, entities unfolded.
void evaluator::append_node_text(path_array<char> &collected, const xmlNode *node) {
    text_room room;
    const text_piece piece = node_text(node, room);
    spend_bytes(piece.size);
    if (piece.bytes != nullptr) {
        collected.append(memory_, reinterpret_cast<const char *>(piece.bytes), piece.size);
    }
}

void evaluator::collect_texts(path_array<char> &collected, const xmlNode *top) {
    const xmlNode *node = top;
    for (;;) {
        if (is_text(node)) {
            const std::string_view own = view_of(node->content);
            spend_bytes(own.size());
            collected.append(memory_, own.data(), own.size());
        } else if (node->type == XML_ENTITY_REF_NODE) {
            append_node_text(collected, node);
        }
        spend(1);
        if (has_content(node) && node->children != nullptr) {
            node = node->children;
            continue;
        }
        while (node != top && node->next == nullptr) {
            node = node->parent;
        }
        if (node == top) {
            return;
        }
        node = node->next;
    }
}

double evaluator::number_of(const xmlNode *node) {
    const memory_scope scope(memory_);
    return number_of_text(text_of(node));
}

// --- reading texts ------------------------------------------------------------------------------

bool evaluator::same_texts(std::string_view left, std::string_view right) {
    if (left.size() != right.size()) {
        return false;
    }
    spend_bytes(left.size());
    return left == right;
}

std::size_t evaluator::characters(std::string_view text) {
    std::size_t count = 0;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, k_piece);
        spend_bytes(piece.size());
        for (const char byte : piece) {
            count += !continues_character(byte);
        }
        text.remove_prefix(piece.size());
    }
    return count;
}

// The place of `wanted` in `text`, npos for none. Searched in pieces that overlap.
std::size_t evaluator::find_in(std::string_view text, std::string_view wanted) {
    if (wanted.size() > text.size()) {
        return std::string_view::npos;
    }
    if (wanted.empty()) {
        return 0;
    }
    const std::size_t stride = std::max(std::size_t{4} * 1024 * 1024, wanted.size() * 4);
    for (std::size_t begin = 0; begin + wanted.size() <= text.size(); begin += stride) {
        const std::string_view piece = text.substr(begin, stride + wanted.size() - 1);
        spend_bytes(piece.size());
        const void *found = memmem(piece.data(), piece.size(), wanted.data(), wanted.size());
        if (found != nullptr) {
            return static_cast<std::size_t>(static_cast<const char *>(found) - text.data());
        }
    }
    return std::string_view::npos;
}

// --- making texts
// ---------------------------------------------------------------------------------

std::string_view evaluator::concat(const expression &call, const context_node &at) {
    path_array<char> whole;
    for (std::size_t place = 0; place < call.count; ++place) {
        const std::string_view part = text_argument(call, place, at);
        spend_bytes(part.size());
        whole.append(memory_, part.data(), part.size());
    }
    return {whole.members == nullptr ? "" : whole.members, whole.size};
}

std::string_view evaluator::substring(const expression &call, const context_node &at) {
    const std::string_view whole = text_argument(call, 0, at);
    const double first = rounded(number(operand_of(call, 1), at));
    double end = std::numeric_limits<double>::infinity();
    if (call.count == 3) {
        end = first + rounded(number(operand_of(call, 2), at));
    }
    if (std::isnan(first) || std::isnan(end) || !(first < end)) {
        return {"", 0};
    }
    // Characters in front of the part, and behind its last one.
    std::size_t place = 0;
    std::size_t begin = whole.size();
    double position = 1;
    for (; place < whole.size() && position < end; position += 1) {
        if (position >= first && begin == whole.size()) {
            begin = place;
            if (std::isinf(end)) {
                return whole.substr(begin);
            }
        }
        do {
            ++place;
        } while (place < whole.size() && continues_character(whole[place]));
        if (place % k_bytes_of_unit == 0) {
            spend(1);
        }
    }
    return begin < place ? whole.substr(begin, place - begin) : std::string_view("");
}

std::string_view evaluator::normalize_space(std::string_view text) {
    path_array<char> words;
    std::size_t place = 0;
    for (;;) {
        while (place < text.size() && is_blank(text[place])) {
            ++place;
            spend(place % k_bytes_of_unit == 0);
        }
        const std::size_t begin = place;
        while (place < text.size() && !is_blank(text[place])) {
            ++place;
            spend(place % k_bytes_of_unit == 0);
        }
        if (begin == place) {
            break;
        }
        if (begin == 0 && place == text.size()) {
            return text;
        }
        if (words.size != 0) {
            words.push(memory_, ' ');
        }
        words.append(memory_, text.data() + begin, place - begin);
    }
    return {words.members == nullptr ? "" : words.members, words.size};
}

namespace {

// Which character becomes which: the ASCII ones by index, others by search.
class translations {
  public:
    translations(evaluator &run, std::string_view from, std::string_view to) {
        std::fill(std::begin(known_), std::end(known_), false);
        std::size_t from_place = 0;
        std::size_t to_place = 0;
        while (from_place < from.size()) {
            const decoded read = next_character(from, from_place);
            std::size_t size = 0;
            if (to_place < to.size()) {
                size = next_character(to, to_place).size;
            }
            add(run, {read.character, to.substr(to_place, size)});
            from_place += read.size;
            to_place += size;
            run.spend(1);
        }
        std::stable_sort(others_.members, others_.members + others_.size, in_order);
    }
    // Null for a character that stays.
    [[nodiscard]] const translation *find(char32_t character) const noexcept {
        if (character < 128) {
            return known_[character] ? &ascii_[character] : nullptr;
        }
        const translation *end = others_.members + others_.size;
        const translation *found =
            std::lower_bound(static_cast<const translation *>(others_.members), end,
                             translation{character, {}}, in_order);
        return found != end && found->from == character ? found : nullptr;
    }

  private:
    static bool in_order(const translation &left, const translation &right) noexcept {
        return left.from < right.from;
    }
    void add(evaluator &run, const translation &added) {
        if (added.from >= 128) {
            others_.push(run.memory(), added); // of two for a character the first is found
        } else if (!known_[added.from]) {
            known_[added.from] = true;
            ascii_[added.from] = added;
        }
    }
    bool known_[128];
    translation ascii_[128];
    path_array<translation> others_;
};

} // namespace

std::string_view evaluator::translate(std::string_view text, std::string_view from,
                                      std::string_view to) {
    const translations changes(*this, from, to);
    path_array<char> changed;
    changed.reserve(memory_, text.size() + 1);
    for (std::size_t place = 0; place < text.size();) {
        const decoded read = next_character(text, place);
        const translation *change = changes.find(read.character);
        const std::string_view put = change == nullptr ? text.substr(place, read.size) : change->to;
        changed.append(memory_, put.data(), put.size());
        place += read.size;
        spend(place % 4 == 0);
    }
    return {changed.members, changed.size};
}

} // namespace pkg_dbe_xml::paths
