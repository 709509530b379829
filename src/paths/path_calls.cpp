// The functions of the language, by the type of their result.

#include "paths/path_evaluator.hpp"
#include "paths/path_numbers.hpp"

#include <cmath>

namespace pkg_dbe_xml::paths {

namespace {

std::string_view local_name_of(const xmlNode *node) noexcept {
    if (is_namespace(node)) {
        const xmlNs *record = as_namespace(node)->record;
        return record == nullptr ? "xml" : view_of(record->prefix);
    }
    switch (node->type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
    case XML_PI_NODE:
        return view_of(node->name);
    default:
        return {};
    }
}

const xmlNs *record_of(const xmlNode *node) noexcept {
    return is_namespace(node) ? nullptr : namespace_of(node);
}

char lower(char byte) noexcept {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// Whether a language is `wanted` or a part of it: "en-GB" is "en".
bool is_language(std::string_view given, std::string_view wanted) noexcept {
    if (given.size() < wanted.size()) {
        return false;
    }
    for (std::size_t place = 0; place < wanted.size(); ++place) {
        if (lower(given[place]) != lower(wanted[place])) {
            return false;
        }
    }
    return given.size() == wanted.size() || given[wanted.size()] == '-';
}

const xmlAttr *language_attribute(const xmlNode *node) noexcept {
    for (const xmlAttr *attribute = first_attribute(node); attribute != nullptr;
         attribute = attribute->next) {
        if (view_of(attribute->name) == "lang" && attribute->ns != nullptr &&
            view_of(uri_or_empty(attribute->ns)) == k_xml_uri) {
            return attribute;
        }
    }
    return nullptr;
}

} // namespace

std::string_view evaluator::text_argument(const expression &call, std::size_t place,
                                          const context_node &at) {
    return place < call.count ? text(operand_of(call, place), at) : text_of(at.node);
}

xmlNodePtr evaluator::node_argument(const expression &call, const context_node &at) {
    return call.count == 0 ? at.node : first_node(operand_of(call, 0), at);
}

bool evaluator::has_language(std::string_view language, const xmlNode *node) {
    for (node = is_namespace(node) ? parent_of(node) : node; node != nullptr; node = node->parent) {
        spend(1);
        if (const xmlAttr *attribute = language_attribute(node)) {
            return is_language(text_of(reinterpret_cast<const xmlNode *>(attribute)), language);
        }
    }
    return false;
}

bool evaluator::call_truth(const expression &call, const context_node &at) {
    switch (call.called) {
    case function::starts_with: {
        const std::string_view whole = text_argument(call, 0, at);
        const std::string_view begin = text_argument(call, 1, at);
        return same_texts(whole.substr(0, begin.size()), begin);
    }
    case function::contains: {
        const std::string_view whole = text_argument(call, 0, at);
        return find_in(whole, text_argument(call, 1, at)) != std::string_view::npos;
    }
    case function::boolean:
        return truth(operand_of(call, 0), at);
    case function::negated:
        return !truth(operand_of(call, 0), at);
    case function::lang:
        return has_language(text_argument(call, 0, at), at.node);
    default:
        return call.called == function::true_value;
    }
}

double evaluator::sum(const expression &call, const context_node &at) {
    const node_array set = nodes(operand_of(call, 0), at);
    double total = 0;
    for (std::size_t index = 0; index < set.size; ++index) {
        total += number_of(set.members[index]);
    }
    return total;
}

double evaluator::call_number(const expression &call, const context_node &at) {
    switch (call.called) {
    case function::last:
        return static_cast<double>(at.size);
    case function::position:
        return static_cast<double>(at.position);
    case function::count:
        return static_cast<double>(count(operand_of(call, 0), at));
    case function::string_length:
        return static_cast<double>(characters(text_argument(call, 0, at)));
    case function::sum:
        return sum(call, at);
    case function::number:
        return call.count == 0 ? number_of(at.node) : number(operand_of(call, 0), at);
    case function::floor:
        return std::floor(number(operand_of(call, 0), at));
    case function::ceiling:
        return std::ceil(number(operand_of(call, 0), at));
    default:
        return rounded(number(operand_of(call, 0), at));
    }
}

std::string_view evaluator::call_text(const expression &call, const context_node &at) {
    switch (call.called) {
    case function::concat:
        return concat(call, at);
    case function::substring:
        return substring(call, at);
    case function::normalize_space:
        return normalize_space(text_argument(call, 0, at));
    case function::string:
        return text_argument(call, 0, at);
    case function::translate: {
        const std::string_view whole = text_argument(call, 0, at);
        const std::string_view from = text_argument(call, 1, at);
        return translate(whole, from, text_argument(call, 2, at));
    }
    case function::substring_before:
    case function::substring_after: {
        const std::string_view whole = text_argument(call, 0, at);
        const std::string_view wanted = text_argument(call, 1, at);
        const std::size_t found = find_in(whole, wanted);
        if (found == std::string_view::npos) {
            return {"", 0};
        }
        return call.called == function::substring_before ? whole.substr(0, found)
                                                         : whole.substr(found + wanted.size());
    }
    default:
        break;
    }
    xmlNodePtr const node = node_argument(call, at);
    if (node == nullptr) {
        return {"", 0};
    }
    const std::string_view local = local_name_of(node);
    const xmlNs *record = record_of(node);
    if (call.called == function::namespace_uri) {
        return view_of(uri_or_empty(record));
    }
    if (call.called == function::local_name || record == nullptr || record->prefix == nullptr) {
        return local;
    }
    path_array<char> whole;
    const std::string_view prefix = view_of(record->prefix);
    whole.append(memory_, prefix.data(), prefix.size());
    whole.push(memory_, ':');
    whole.append(memory_, local.data(), local.size());
    return {whole.members, whole.size};
}

} // namespace pkg_dbe_xml::paths
