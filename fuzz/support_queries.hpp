// Random trees and random paths over them: for the fuzzers of paths, and for comparing the
// library's evaluator with libxml2's.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

// Choices out of the bytes of a fuzzer's input; 0 when they are used up.
class choices {
  public:
    choices(const std::uint8_t *bytes, std::size_t size) noexcept : next_(bytes), left_(size) {}
    // Less than `count`, which is at most 256.
    std::size_t below(std::size_t count) noexcept {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *next_++ % count;
    }
    [[nodiscard]] bool empty() const noexcept { return left_ == 0; }

  private:
    const std::uint8_t *next_;
    std::size_t left_;
};

// The text of a document: elements, attributes, texts, CDATA, comments, instructions, a namespace;
// with references to entities where `references` is set.
[[nodiscard]] std::string random_document(choices &from, bool references);
// A path over such a document, of the prefix p and the variables v and w. Neither id() nor the
// namespace axis occurs.
[[nodiscard]] std::string random_path(choices &from);
// Every node a path may start from.
[[nodiscard]] std::vector<xmlNodePtr> context_nodes(xmlDocPtr document);

inline constexpr const char *k_prefix_uri = "urn:p";
inline constexpr const char *k_variable_v = "2";
inline constexpr const char *k_variable_w = "ab";

} // namespace fuzz
