// Joining bases. See base_join.hpp.

#include "tree/base_join.hpp"

#include <cstddef>
#include <optional>

namespace pkg_dbe_xml {

namespace {

// The parts of a URI reference without its fragment; what is not there has no value.
struct uri_parts {
    std::optional<std::string_view> scheme;
    std::optional<std::string_view> authority;
    std::string_view path;
    std::optional<std::string_view> query;
};

[[nodiscard]] uri_parts parts_of(std::string_view uri) noexcept {
    uri_parts parts;
    uri = uri.substr(0, uri.find('#'));
    if (const std::size_t query = uri.find('?'); query != std::string_view::npos) {
        parts.query = uri.substr(query + 1);
        uri = uri.substr(0, query);
    }
    if (const std::size_t end = uri.find_first_of(":/");
        end != std::string_view::npos && end > 0 && uri[end] == ':') {
        parts.scheme = uri.substr(0, end);
        uri.remove_prefix(end + 1);
    }
    if (uri.substr(0, 2) == "//") {
        const std::size_t end = uri.find('/', 2);
        parts.authority =
            uri.substr(2, end == std::string_view::npos ? std::string_view::npos : end - 2);
        uri.remove_prefix(end == std::string_view::npos ? uri.size() : end);
    }
    parts.path = uri;
    return parts;
}

void append(joined_base &joined, std::string_view text) { joined.append(text.data(), text.size()); }

// Takes the last segment away and says true, if there is one behind `begin` and it is not "..".
[[nodiscard]] bool drop_segment(joined_base &joined, std::size_t begin) noexcept {
    const std::string_view path = view_of(joined).substr(begin);
    if (path.empty() || path == "../" || (path.size() > 3 && path.ends_with("/../"))) {
        return false;
    }
    const std::size_t slash = path.substr(0, path.size() - 1).rfind('/');
    joined.shrink(begin + (slash == std::string_view::npos ? 0 : slash + 1));
    return true;
}

// Appends the segments of a path that begins behind `begin`, each with its slash; "." and ".." go
// where they can.
void append_segments(joined_base &joined, std::size_t begin, std::string_view path,
                     bool is_absolute) {
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string_view segment = path.substr(0, slash);
        const bool is_last = slash == std::string_view::npos;
        path.remove_prefix(is_last ? path.size() : slash + 1);
        if (segment == "..") {
            if (!drop_segment(joined, begin) && !is_absolute) {
                append(joined, "../");
            }
        } else if (!segment.empty() && segment != ".") {
            append(joined, segment);
            if (!is_last) {
                append(joined, "/");
            }
        }
    }
}

// Appends a path, given in two pieces.
void append_path(joined_base &joined, std::string_view directory, std::string_view path) {
    const bool is_absolute =
        directory.empty() ? path.substr(0, 1) == "/" : directory.front() == '/';
    if (is_absolute) {
        append(joined, "/");
    }
    const std::size_t begin = joined.size();
    append_segments(joined, begin, directory, is_absolute);
    append_segments(joined, begin, path, is_absolute);
}

// What stands in front of the last segment of a base. A ".." at the end is a directory.
[[nodiscard]] std::string_view directory_of(const uri_parts &base) noexcept {
    if (base.authority && base.path.empty()) {
        return "/";
    }
    if (base.path == ".." || base.path.ends_with("/..")) {
        return base.path;
    }
    const std::size_t slash = base.path.rfind('/');
    return slash == std::string_view::npos ? std::string_view() : base.path.substr(0, slash + 1);
}

void append_scheme(joined_base &joined, const uri_parts &parts) {
    if (parts.scheme) {
        append(joined, *parts.scheme);
        append(joined, ":");
    }
}
void append_authority(joined_base &joined, const uri_parts &parts) {
    if (parts.authority) {
        append(joined, "//");
        append(joined, *parts.authority);
    }
}

} // namespace

void join_bases(std::string_view base_text, std::string_view reference_text, joined_base &joined) {
    const uri_parts base = parts_of(base_text);
    const uri_parts reference = parts_of(reference_text);
    joined.clear();
    append_scheme(joined, reference.scheme ? reference : base);
    std::optional<std::string_view> query = reference.query;
    if (reference.scheme || reference.authority) {
        append_authority(joined, reference);
        append_path(joined, {}, reference.path);
    } else {
        append_authority(joined, base);
        if (reference.path.empty()) {
            append(joined, base.path);
            query = query ? query : base.query;
        } else if (reference.path.front() == '/') {
            append_path(joined, {}, reference.path);
        } else {
            append_path(joined, directory_of(base), reference.path);
        }
    }
    if (query) {
        append(joined, "?");
        append(joined, *query);
    }
}

} // namespace pkg_dbe_xml
