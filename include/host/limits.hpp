// Limits of one parse, and of the session. Administrators change them on hosts that have settings;
// the values here are the safe defaults. Plain integers, so that a host can hand their addresses to
// its settings.
#pragma once

#include "host/session.hpp"

namespace host {

struct parse_limit_settings {
    // Memory a parse may take: `budget_base` kilobytes and `budget_factor` times the text. The
    // worst document without entities takes 51 times its text.
    int budget_base = 65536;
    int budget_factor = 100;
    // Levels of elements.
    int max_depth = 2048;
    // Names and groups in the content model of one element type; a list of names that may be mixed
    // with text may have ten times as many. libxml2 compiles a model in cubic time.
    int max_particles = 500;
    // Attributes of one element, defaults included. libxml2 compares each with each.
    int max_attributes = 10000;
    // Work beyond going through the text once: so many millions of steps, and k_work_per_byte for
    // each byte of the text. A slow machine does a step in a nanosecond.
    int work = 1200;
};
inline constexpr int k_work_per_byte = 40;
extern constinit PKG_DBE_XML_SESSION_STORAGE parse_limit_settings parse_limits;

// What trees, handles and parsers of a session may take together, in kilobytes.
extern constinit PKG_DBE_XML_SESSION_STORAGE int max_session_memory;

// Limits of one evaluation of a path.
struct path_limit_settings {
    // Nodes looked at, comparisons, and pieces of 16 bytes read.
    int max_work = 1'000'000'000;
    // Memory in kilobytes.
    int max_memory = 524288;
};
extern constinit PKG_DBE_XML_SESSION_STORAGE path_limit_settings path_limits;

// The names under which the limits appear in messages, and as settings.
inline constexpr const char *k_budget_base_name = "pkg_dbe_xml.parse_budget_base";
inline constexpr const char *k_budget_factor_name = "pkg_dbe_xml.parse_budget_factor";
inline constexpr const char *k_max_path_work_name = "pkg_dbe_xml.max_path_work";
inline constexpr const char *k_max_path_memory_name = "pkg_dbe_xml.max_path_memory";
inline constexpr const char *k_max_depth_name = "pkg_dbe_xml.max_depth";
inline constexpr const char *k_max_particles_name = "pkg_dbe_xml.max_content_particles";
inline constexpr const char *k_max_attributes_name = "pkg_dbe_xml.max_attributes";
inline constexpr const char *k_work_name = "pkg_dbe_xml.parse_work";
inline constexpr const char *k_session_memory_name = "pkg_dbe_xml.max_session_memory";

} // namespace host
