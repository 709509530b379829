// See xml_work.hpp.
#include "libxml/xml_work.hpp"

#include "host/limits.hpp"

#include <libxml/hash.h>

#include <algorithm>
#include <utility>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

// Steps for a pair of attributes of one element: compared by the parser, passed by the builder.
constexpr std::int64_t k_attribute_pair = 3;
// For a pair of namespaces that one element declares.
constexpr std::int64_t k_namespace_pair = 2;
// For a namespace in scope and for a level of elements, each time a prefix is looked up.
constexpr std::int64_t k_namespace_in_scope = 4;
constexpr std::int64_t k_level = 5;
// For a declaration that is passed for an element of its type, and a pair of it and an attribute.
constexpr std::int64_t k_declaration = 4;
constexpr std::int64_t k_declaration_pair = 4;
// For a name that a value, or a child, is compared with, beside its length.
constexpr std::int64_t k_name_compared = 3;
// For a pair of names of one model, that are compared when declared.
constexpr std::int64_t k_model_pair = 5;
// Compiling a model: for a pair of particles, and for each three alternatives a tenth.
constexpr std::int64_t k_particle_pair = 5;
constexpr std::int64_t k_alternatives_per_step = 10;
// For making an error, and for one of two equal names in a model.
constexpr std::int64_t k_error = 500;
// For a declared attribute, each time all are gone through.
constexpr std::int64_t k_table_entry = 10;

// Fewer than so many are too quickly done to be charged for.
constexpr int k_few = 16;
constexpr int k_few_levels = 64;

#if LIBXML_VERSION < 21200
// The parser's dictionary has no more chains than these; names are added at their ends.
constexpr std::int64_t k_chains = 4608;
constexpr std::int64_t k_short_chains = 8 * k_chains;
// For an entry of a chain that is passed, and the bytes of text in which a name is looked up.
constexpr std::int64_t k_chain_entry = 160;
constexpr std::int64_t k_bytes_between_names = 8;
// A table that has more entries is widened at four times its size; libxml2 widens none beyond.
constexpr int k_wide_table = 4096;
constexpr int k_widening = 4;
#endif
// Declarations, and elements with attributes, between two looks at the tables.
constexpr std::uint32_t k_between_looks_at_tables = 512;

// Two namespaces to an entry of the parser's stack, once.
[[nodiscard]] std::int64_t namespaces_in_scope(const xmlParserCtxt *context) noexcept {
#if LIBXML_VERSION < 21200
    return context->nsNr / 2;
#else
    return context->nsNr;
#endif
}

void free_weight(void *weight, const xmlChar * /*name*/) noexcept { xmlFree(weight); }

[[nodiscard]] bool is_heavy(const type_weight &weight) noexcept {
    return weight.attributes > k_few || weight.values > k_few || weight.mixed_names > k_few ||
           weight.particles > k_few;
}

// For prefixed names, as for those without a prefix.
[[nodiscard]] type_weight *find_weight(const parse_run &run, const xmlChar *prefix,
                                       const xmlChar *name) noexcept {
    return static_cast<type_weight *>(prefix == nullptr
                                          ? xmlHashLookup(run.weights, name)
                                          : xmlHashQLookup(run.weights, prefix, name));
}

// What looking the prefixes up costs.
[[nodiscard]] std::int64_t prefix_steps(const parse_run &run, const xmlParserCtxt *context,
                                        const start_tag &tag) noexcept {
    const std::int64_t in_scope = namespaces_in_scope(context);
    if (run.depth + in_scope <= k_few_levels) {
        return 0;
    }
    std::int64_t prefixed = 0;
    for (int i = 0; i < tag.attributes; ++i) {
        prefixed += tag.list[5 * i + 1] != nullptr;
    }
    const std::int64_t climbs = prefixed + (tag.uri != nullptr);
    return climbs * run.depth * k_level + (prefixed + 1) * in_scope * k_namespace_in_scope;
}

// Bytes that a value is compared in.
[[nodiscard]] std::int64_t longest_value(const start_tag &tag) noexcept {
    std::int64_t longest = 0;
    for (int i = 0; i < tag.attributes; ++i) {
        longest = std::max<std::int64_t>(longest, tag.list[5 * i + 4] - tag.list[5 * i + 3]);
    }
    return longest;
}

// What the declarations of its type cost an element.
[[nodiscard]] std::int64_t type_steps(const parse_run &run, const xmlParserCtxt *context,
                                      const start_tag &tag) noexcept {
    type_weight *const weight = find_weight(run, tag.prefix, tag.name);
    if (weight == nullptr) {
        return 0;
    }
    const std::int64_t own = tag.attributes + tag.namespaces;
    std::int64_t steps = weight->defaults * (own + namespaces_in_scope(context));
    if (context->validate == 0) {
        return steps;
    }
    steps += weight->attributes * k_declaration + weight->required * own * k_declaration_pair +
             weight->defaults * std::int64_t{tag.namespaces} * k_declaration_pair;
    const std::int64_t searched =
        std::min<std::int64_t>(weight->values, std::int64_t{tag.attributes} * weight->longest_list);
    steps += searched * (k_name_compared + longest_value(tag));
    const std::int64_t particles = std::exchange(weight->particles, 0);
    weight->mixed_names += static_cast<std::int32_t>(particles / 2); // searched from now on
    const std::int64_t choices = std::exchange(weight->alternatives, 0);
    return steps + particles * particles * k_particle_pair +
           choices * choices * choices / k_alternatives_per_step;
}

// What the model of the element above costs.
[[nodiscard]] std::int64_t child_steps(const parse_run &run, const xmlParserCtxt *context,
                                       const start_tag &tag) noexcept {
    const xmlNode *const parent = context->node;
    if (context->validate == 0 || parent == nullptr || parent->type != XML_ELEMENT_NODE) {
        return 0;
    }
    const type_weight *const weight =
        find_weight(run, parent->ns == nullptr ? nullptr : parent->ns->prefix, parent->name);
    return weight == nullptr || weight->mixed_names == 0
               ? 0
               : weight->mixed_names * (k_name_compared + xmlStrlen(tag.name));
}

#if LIBXML_VERSION < 21200

struct table_copy {
    xmlHashTablePtr table;
    bool complete;
};

void copy_entry(void *payload, void *data, const xmlChar *name, const xmlChar *second,
                const xmlChar *third) noexcept {
    auto &copy = *static_cast<table_copy *>(data);
    copy.complete &= xmlHashAddEntry3(copy.table, name, second, third, payload) == 0;
}

// A table of the same entries with chains of one entry or so. Names are kept in the table itself,
// not in the dictionary, which has too few chains too.
void widen(void *&place, int &width, xmlDictPtr dictionary) noexcept {
    auto *const table = static_cast<xmlHashTablePtr>(place);
    const int size = table == nullptr ? 0 : xmlHashSize(table);
    if (size <= std::max(width, k_wide_table)) [[likely]] {
        return;
    }
    const int wider = size * k_widening;
    table_copy copy{
        dictionary == nullptr ? xmlHashCreate(wider) : xmlHashCreateDict(wider, dictionary), true};
    if (copy.table == nullptr) {
        return; // the gate knows
    }
    xmlHashScanFull(table, copy_entry, &copy);
    if (copy.complete) {
        place = copy.table;
        width = wider;
        xmlHashFree(table, nullptr);
    } else {
        xmlHashFree(copy.table, nullptr);
    }
}

void widen(xmlHashTablePtr &place, int &width, xmlDictPtr dictionary) noexcept {
    void *table = place;
    widen(table, width, dictionary);
    place = static_cast<xmlHashTablePtr>(table);
}

#endif

} // namespace

void work(parse_run &run, xmlParserCtxtPtr context, std::int64_t steps) noexcept {
    if (run.work + steps > run.work_allowed) [[unlikely]] {
        if (!run.stopped) {
            stop_parse(run, context, k_work_name, parse_limits.work);
        }
        return;
    }
    run.work += steps;
}

type_weight *weight_of_declared(parse_run &run, const xmlChar *type) noexcept {
    if (run.weights == nullptr) {
        run.weights = xmlHashCreate(0);
    }
    auto *weight = static_cast<type_weight *>(xmlHashLookup(run.weights, type));
    if (weight == nullptr && run.weights != nullptr) {
        weight = static_cast<type_weight *>(xmlMalloc(sizeof(type_weight)));
        if (weight != nullptr) {
            *weight = {};
            if (xmlHashAddEntry(run.weights, type, weight) != 0) {
                xmlFree(weight);
                weight = nullptr;
            }
        }
    }
    return weight;
}

void forget_weights(parse_run &run) noexcept {
    xmlHashFree(run.weights, free_weight);
    run.weights = nullptr;
}

void work_for_attribute_declaration(parse_run &run, xmlParserCtxtPtr context, type_weight &weight,
                                    int type, int default_kind, bool has_value,
                                    const xmlEnumeration *values) noexcept {
    ++run.attributes_declared;
    ++weight.attributes;
    weight.defaults += has_value;
    weight.required += default_kind == XML_ATTRIBUTE_REQUIRED;
    std::int32_t count = 0;
    for (; values != nullptr; values = values->next) {
        ++count;
    }
    weight.values += count;
    weight.longest_list = std::max(weight.longest_list, count);
    run.has_heavy_types |= is_heavy(weight);
    std::int64_t steps = 0;
#if LIBXML_VERSION < 21400 // later versions do not compare each value with each
    // For a pair of values of one list, which are compared when declared.
    constexpr std::int64_t k_value_pair = 16;
    steps += std::int64_t{count} * count / 2 * k_value_pair;
#endif
    if (type == XML_ATTRIBUTE_ID) {
        steps += run.attributes_declared * k_table_entry;
    }
    work(run, context, steps);
    if (run.attributes_declared % k_between_looks_at_tables == 0) {
        widen_tables(run, context);
    }
}

// Names of a mixed model that stand in it several times: libxml2 makes an error of each pair.
[[nodiscard]] static std::int64_t equal_pairs(const xmlElementContent *model) noexcept {
    xmlHashTablePtr seen = xmlHashCreate(0);
    std::int64_t pairs = 0;
    for (const xmlElementContent *part = model; part != nullptr; part = part->c2) {
        const xmlElementContent *const leaf = part->c1 == nullptr ? part : part->c1;
        if (leaf->name == nullptr) {
            continue;
        }
        const auto before =
            reinterpret_cast<std::intptr_t>(xmlHashQLookup(seen, leaf->prefix, leaf->name));
        pairs += before;
        xmlHashUpdateEntry2(seen, leaf->name, leaf->prefix, reinterpret_cast<void *>(before + 1),
                            nullptr);
    }
    xmlHashFree(seen, nullptr);
    return pairs;
}

void work_for_element_declaration(parse_run &run, xmlParserCtxtPtr context, const xmlChar *name,
                                  int type, const xmlElementContent *model, int particles,
                                  int alternatives) noexcept {
    if (++run.types_declared % k_between_looks_at_tables == 0) {
        widen_tables(run, context);
    }
    if (particles <= k_few || context->validate == 0) {
        return;
    }
    type_weight *const weight = weight_of_declared(run, name);
    if (weight == nullptr) {
        run.stopped = true; // the gate knows why
        halt_context(context);
        return;
    }
    if (type == XML_ELEMENT_TYPE_MIXED) {
        const std::int64_t names = particles / 2;
        weight->mixed_names = static_cast<std::int32_t>(names);
        work(run, context, names * names / 2 * k_model_pair + equal_pairs(model) * k_error);
    } else {
        weight->particles = particles;
        weight->alternatives = alternatives;
    }
    run.has_heavy_types |= is_heavy(*weight);
}

// Whether an element may cost more than the reading of its tag.
[[nodiscard]] static bool is_costly(const parse_run &run, const xmlParserCtxt *context,
                                    const start_tag &tag) noexcept {
    return run.depth + namespaces_in_scope(context) > k_few_levels || tag.attributes > k_few ||
           tag.namespaces > k_few || run.has_heavy_types;
}

[[nodiscard]] static std::int64_t element_steps(const parse_run &run, const xmlParserCtxt *context,
                                                const start_tag &tag) noexcept {
    std::int64_t steps = prefix_steps(run, context, tag);
    if (tag.attributes > k_few) {
        steps += std::int64_t{tag.attributes} * tag.attributes * k_attribute_pair;
    }
    if (tag.namespaces > k_few) {
        steps += std::int64_t{tag.namespaces} * tag.namespaces * k_namespace_pair;
    }
    if (run.has_heavy_types) {
        steps += type_steps(run, context, tag) + child_steps(run, context, tag);
    }
    return steps;
}

// Apart from what is done for every element, which then has no registers to save.
[[gnu::noinline]] static void work_for_costly_element(parse_run &run, xmlParserCtxtPtr context,
                                                      const start_tag &tag,
                                                      bool looks_at_tables) noexcept {
    const std::int64_t steps = element_steps(run, context, tag);
    if (looks_at_tables) {
        widen_tables(run, context);
    }
    work(run, context, steps);
}

void work_for_element(parse_run &run, xmlParserCtxtPtr context, const start_tag &tag) noexcept {
    const bool looks_at_tables =
        tag.attributes != 0 && ++run.elements_with_attributes % k_between_looks_at_tables == 0;
    if (is_costly(run, context, tag) || looks_at_tables || run.work > run.work_allowed)
        [[unlikely]] {
        work_for_costly_element(run, context, tag, looks_at_tables);
    }
}

void work_for_text(parse_run &run, xmlParserCtxtPtr context,
                   [[maybe_unused]] std::int64_t bytes) noexcept {
    std::int64_t steps = 0;
#if LIBXML_VERSION < 21200
    const std::int64_t names = xmlDictSize(run.context->dict);
    if (names > k_short_chains) [[unlikely]] {
        steps = bytes / k_bytes_between_names * (names / k_chains) * k_chain_entry;
    }
#endif
    work(run, context, steps);
}

void work_for_error(parse_run &run) noexcept { run.work += k_error; }

void widen_tables([[maybe_unused]] parse_run &run,
                  [[maybe_unused]] xmlParserCtxtPtr context) noexcept {
#if LIBXML_VERSION < 21200 // later versions do it themselves
    xmlDocPtr const document = context->myDoc;
    if (document == nullptr) {
        return;
    }
    table_widths &widths = run.widths;
    widen(document->ids, widths.ids, nullptr);
    widen(document->refs, widths.refs, nullptr);
    widen(run.weights, widths.weights, nullptr);
    if (context == run.context) {
        widen(context->attsSpecial, widths.special, context->dict);
        widen(context->attsDefault, widths.defaults, context->dict);
    }
    if (xmlDtdPtr const subset = document->intSubset) {
        widen(subset->attributes, widths.attributes, document->dict);
        widen(subset->elements, widths.elements, document->dict);
        widen(subset->notations, widths.notations, document->dict);
        widen(subset->entities, widths.entities, document->dict);
        widen(subset->pentities, widths.parameters, document->dict);
    }
#endif
}

} // namespace host
