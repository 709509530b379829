// Inside the room: the parts of a path while it is compiled.
#pragma once

#include "growing_array.hpp"
#include "paths/path_code.hpp"
#include "paths/path_lexer.hpp"
#include "paths/paths.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace pkg_dbe_xml::paths {

struct path_parts {
    growing_array<expression, 8> expressions;
    growing_array<operand, 8> operands;
    growing_array<predicate, 8> predicates;
    growing_array<step, 8> steps;
    growing_array<segment, 8> segments;
    growing_array<path, 4> paths;
    growing_array<char, 128> texts;
    std::uint32_t memory_count = 0;
};

// --- path_plan.cpp ---

// Joins steps of `steps` where that changes nothing but the work: the number that are left.
[[nodiscard]] std::size_t fuse_steps(step *steps, std::size_t count) noexcept;
// Appends the segments in which the steps of the path are taken.
void plan_segments(path_parts &parts, path &planned);

// --- path_functions.cpp ---

struct function_signature {
    std::string_view name;
    paths::function function;
    value_type result;
    std::uint8_t least;
    std::uint8_t most; // 255: any number
    bool takes_nodes;  // the first argument is a set of nodes
    bool looks_around; // without arguments it reads the context node
};
// Null for a name that is no function of the language.
[[nodiscard]] const function_signature *find_function(std::string_view name) noexcept;

// --- path_errors.cpp: all of these throw ---

struct error_place {
    std::string_view path;
    std::size_t start; // bytes
};
[[noreturn]] void report_syntax(const error_place &place, std::string_view expected,
                                std::string_view found);
[[noreturn]] void report_unknown(const error_place &place, std::string_view what,
                                 std::string_view name, std::string_view advice);
[[noreturn]] void report_type(const error_place &place, std::string_view what,
                              std::string_view given);
[[noreturn]] void report_argument_count(const error_place &place, std::string_view name,
                                        std::string_view wanted, std::size_t given);
[[noreturn]] void report_depth(const error_place &place);
[[nodiscard]] std::string_view type_name(value_type type) noexcept;

} // namespace pkg_dbe_xml::paths
