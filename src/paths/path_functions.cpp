// The functions of the language: their names, arguments and results.

#include "paths/path_compiler.hpp"

namespace pkg_dbe_xml::paths {

namespace {

using enum value_type;
constexpr std::uint8_t k_any_number = 255;

constexpr function_signature k_functions[] = {
    {"last", function::last, number, 0, 0, false, false},
    {"position", function::position, number, 0, 0, false, false},
    {"count", function::count, number, 1, 1, true, false},
    {"id", function::id, nodes, 1, 1, false, false},
    {"local-name", function::local_name, text, 0, 1, true, true},
    {"namespace-uri", function::namespace_uri, text, 0, 1, true, true},
    {"name", function::name, text, 0, 1, true, true},
    {"string", function::string, text, 0, 1, false, true},
    {"concat", function::concat, text, 2, k_any_number, false, false},
    {"starts-with", function::starts_with, truth, 2, 2, false, false},
    {"contains", function::contains, truth, 2, 2, false, false},
    {"substring-before", function::substring_before, text, 2, 2, false, false},
    {"substring-after", function::substring_after, text, 2, 2, false, false},
    {"substring", function::substring, text, 2, 3, false, false},
    {"string-length", function::string_length, number, 0, 1, false, true},
    {"normalize-space", function::normalize_space, text, 0, 1, false, true},
    {"translate", function::translate, text, 3, 3, false, false},
    {"boolean", function::boolean, truth, 1, 1, false, false},
    {"not", function::negated, truth, 1, 1, false, false},
    {"true", function::true_value, truth, 0, 0, false, false},
    {"false", function::false_value, truth, 0, 0, false, false},
    {"lang", function::lang, truth, 1, 1, false, true},
    {"number", function::number, number, 0, 1, false, true},
    {"sum", function::sum, number, 1, 1, true, false},
    {"floor", function::floor, number, 1, 1, false, false},
    {"ceiling", function::ceiling, number, 1, 1, false, false},
    {"round", function::round, number, 1, 1, false, false}};

} // namespace

const function_signature *find_function(std::string_view name) noexcept {
    for (const function_signature &signature : k_functions) {
        if (signature.name == name) {
            return &signature;
        }
    }
    return nullptr;
}

} // namespace pkg_dbe_xml::paths
