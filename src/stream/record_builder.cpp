// The callbacks that find records, and build trees of nothing else.
//
// An element around records is built only where it declares namespaces, without attributes, so that
// libxml2 finds these: its anchor. What is outside of records is dropped. None of the callbacks
// throws.
#include "stream/record_stream.hpp"

#include "libxml/xml_work.hpp"
#include "stream/record_cut.hpp"

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>

#include <algorithm>
#include <cstdio>
#include <utility>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace pkg_dbe_xml {

namespace {

using host::parse_run;

constexpr std::array<const char *, k_inherited_count> k_inherited_names{"lang", "base", "space"};
constexpr int k_first_levels = 16;

[[nodiscard]] record_stream &stream_of(const parse_run &run) noexcept {
    return *static_cast<record_stream *>(run.stream);
}

// Whether what comes is the content of an entity: parsed by another context, or from another input.
[[nodiscard]] bool is_in_entity(const parse_run &run, const xmlParserCtxt *context) noexcept {
    return context != run.context || context->inputNr > 1;
}

// Memory was refused for something without which the parse cannot go on; the gate knows why.
void stop_without_words(parse_run &run, xmlParserCtxtPtr context) noexcept {
    run.stopped = true;
    host::halt_context(context);
}

// Nodes that references to entities have left on an anchor.
void clear_anchor(const xmlParserCtxt *context) noexcept {
    xmlNodePtr const anchor = context->node;
    if (anchor != nullptr && anchor->children != nullptr) [[unlikely]] {
        xmlFreeNodeList(anchor->children);
        anchor->children = nullptr;
        anchor->last = nullptr;
    }
}

// The level of depth `depth`, with room made; null when memory was refused.
[[nodiscard]] outer_level *level_at(record_stream &stream, int depth) noexcept {
    if (depth >= stream.level_capacity) [[unlikely]] {
        const int capacity = std::max(k_first_levels, 2 * depth);
        void *const moved =
            xmlRealloc(stream.levels, static_cast<std::size_t>(capacity) * sizeof(outer_level));
        if (moved == nullptr) {
            return nullptr;
        }
        stream.levels = static_cast<outer_level *>(moved);
        if (stream.level_capacity == 0) {
            stream.levels[0] = {record_path::of_document(), false, {}};
        }
        stream.level_capacity = capacity;
    }
    return stream.levels + depth;
}

// --- what records take over --------------------------------------------------------------------

// The value of an attribute of a start tag, in the dictionary.
[[nodiscard]] const xmlChar *kept_value(const xmlParserCtxt *context,
                                        const xmlChar *const *attribute) noexcept {
    return xmlDictLookup(context->dict, attribute[3],
                         static_cast<int>(attribute[4] - attribute[3]));
}

// A URI as seen from the one around it, in the dictionary.
[[nodiscard]] const xmlChar *resolved(const xmlParserCtxt *context, const xmlChar *uri,
                                      const xmlChar *base) noexcept {
    if (uri == nullptr || base == nullptr) {
        return uri;
    }
    const xml_text_ptr whole(xmlBuildURI(uri, base));
    return whole == nullptr ? uri : xmlDictLookup(context->dict, whole.get(), -1);
}

// Changes the values of a level by those that a start tag sets.
void read_inherited(const xmlParserCtxt *context, const host::start_tag &tag,
                    outer_level &level) noexcept {
    for (int number = 0; number < tag.attributes; ++number) {
        const xmlChar *const *attribute = tag.list + 5 * std::ptrdiff_t{number};
        if (attribute[1] == nullptr || xmlStrEqual(attribute[1], BAD_CAST "xml") == 0) {
            continue;
        }
        for (std::size_t which = 0; which < k_inherited_count; ++which) {
            if (xmlStrEqual(attribute[0], BAD_CAST k_inherited_names[which]) != 0) {
                const xmlChar *const value = kept_value(context, attribute);
                level.values[which] = which == static_cast<std::size_t>(inherited::base)
                                          ? resolved(context, value, level.values[which])
                                          : value;
            }
        }
    }
}

// Sets on the top of a record what holds there.
void hand_down(const xmlParserCtxt *context, const outer_level &level, xmlNodePtr top) noexcept {
    for (std::size_t which = 0; which < k_inherited_count; ++which) {
        if (level.values[which] == nullptr) {
            continue;
        }
        xmlNsPtr const xml = xmlSearchNs(context->myDoc, top, BAD_CAST "xml");
        if (xml != nullptr) {
            xmlSetNsProp(top, xml, BAD_CAST k_inherited_names[which], level.values[which]);
        }
    }
}

// --- elements ----------------------------------------------------------------------------------

// A start tag with all that libxml2 says of it.
struct whole_tag {
    host::start_tag tag;
    const xmlChar **namespaces;
    int defaulted;
};

// Builds an element; false when memory was refused.
[[nodiscard]] bool build(xmlParserCtxtPtr context, const whole_tag &whole,
                         bool with_attributes) noexcept {
    const xmlNode *const before = context->node;
    const host::start_tag &tag = whole.tag;
    xmlSAX2StartElementNs(context, tag.name, tag.prefix, tag.uri, tag.namespaces, whole.namespaces,
                          with_attributes ? tag.attributes : 0,
                          with_attributes ? whole.defaulted : 0,
                          with_attributes ? tag.list : nullptr);
    return context->node != before;
}

// An element that is not built, but for its namespaces, and the outermost one: libxml2 loses what
// it makes of an entity where no element is open.
void begin_anchor(record_stream &stream, xmlParserCtxtPtr context, const whole_tag &whole,
                  outer_level &level) noexcept {
    parse_run &run = stream.parse.run;
    clear_anchor(context);
    if (whole.tag.namespaces == 0 && run.depth > 1) {
        return;
    }
    if (!build(context, whole, false)) {
        stop_without_words(run, context);
        return;
    }
    level.has_anchor = true;
    mark_as_outer(context->node);
}

void end_anchor(const outer_level &level, xmlParserCtxtPtr context) noexcept {
    clear_anchor(context);
    if (level.has_anchor) {
        xmlNodePtr const anchor = context->node;
        xmlSAX2EndElementNs(context, nullptr, nullptr, nullptr);
        xmlUnlinkNode(anchor);
        xmlFreeNode(anchor);
        context->nodelen = 0;
        context->nodemem = 0;
    }
}

void begin_record(record_stream &stream, xmlParserCtxtPtr context, const whole_tag &whole,
                  outer_level &level) noexcept {
    parse_run &run = stream.parse.run;
    stream.record_depth = run.depth;
    ++stream.records;
    stream.skips = stream.records <= stream.to_skip;
    if (stream.skips) {
        begin_anchor(stream, context, whole, level);
        return;
    }
    clear_anchor(context);
    host::begin_unit(stream.parse);
    if (!build(context, whole, true)) {
        stop_without_words(run, context);
        return;
    }
    stream.top = context->node;
    if (stream.inherits) {
        hand_down(context, level, stream.top);
    }
}

// An element around records, or a record.
void start_outside(record_stream &stream, xmlParserCtxtPtr context,
                   const whole_tag &whole) noexcept {
    parse_run &run = stream.parse.run;
    outer_level *const level = level_at(stream, run.depth);
    if (level == nullptr) {
        stop_without_words(run, context);
        return;
    }
    *level = level[-1];
    level->has_anchor = false;
    level->states =
        level->states == 0 ? 0 : stream.path.below(level->states, whole.tag.name, whole.tag.uri);
    if (stream.inherits) {
        read_inherited(context, whole.tag, *level);
    }
    if (stream.path.is_record(level->states)) {
        begin_record(stream, context, whole, *level);
    } else {
        begin_anchor(stream, context, whole, *level);
    }
}

constexpr const char *k_entity_outside =
    "an entity with elements is referred to outside of records, where a stream does not look for "
    "them";

void on_start_element(void *data, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                      int namespace_count, const xmlChar **namespaces, int attribute_count,
                      int defaulted_count, const xmlChar **attributes) noexcept {
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *host::current_run;
    record_stream &stream = stream_of(run);
    const whole_tag whole{{name, prefix, uri, namespace_count, attribute_count, attributes},
                          namespaces,
                          defaulted_count};
    if (!host::admit_element(run, context, whole.tag)) {
        return;
    }
    const bool in_entity = is_in_entity(run, context);
    if (stream.record_depth == 0) {
        if (in_entity) {
            host::fail_parse(run, context, k_entity_outside);
            return;
        }
        start_outside(stream, context, whole);
    } else if ((in_entity || !stream.skips) && !build(context, whole, true)) {
        stop_without_words(run, context);
    }
}

// Cuts the record that has just ended loose and lets it wait to be fetched.
void end_record(record_stream &stream, xmlParserCtxtPtr context) noexcept {
    parse_run &run = stream.parse.run;
    stream.record_depth = 0;
    if (stream.skips) {
        ++stream.ended;
        stream.skips = false;
        end_anchor(stream.levels[run.depth], context);
        return;
    }
    xmlNodePtr const top = std::exchange(stream.top, nullptr);
    context->nodelen = 0; // these refer to its last text
    context->nodemem = 0;
    if (host::must_stop(run, context)) {
        return; // the record stays where it is and goes with the stream
    }
    xmlDocPtr const document = cut_record(*context, top);
    if (document == nullptr) {
        stop_without_words(run, context);
        return;
    }
    if (stream.last_ready == nullptr) {
        stream.first_ready = document;
    } else {
        stream.last_ready->next = reinterpret_cast<xmlNodePtr>(document);
    }
    stream.last_ready = document;
    ++stream.ended;
    host::begin_unit(stream.parse);
}

void on_end_element(void *data, const xmlChar *name, const xmlChar *prefix,
                    const xmlChar *uri) noexcept {
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *host::current_run;
    record_stream &stream = stream_of(run);
    if (run.stopped) [[unlikely]] {
        return;
    }
    if (is_in_entity(run, context)) {
        xmlSAX2EndElementNs(data, name, prefix, uri);
    } else if (stream.record_depth == 0) {
        end_anchor(stream.levels[run.depth], context);
    } else {
        if (!stream.skips) {
            xmlSAX2EndElementNs(data, name, prefix, uri);
        }
        if (run.depth == stream.record_depth) {
            end_record(stream, context);
        }
    }
    host::leave_element(run, context);
    stream.root_ended = stream.root_ended || run.depth == 0;
}

// --- what is not an element --------------------------------------------------------------------

// Whether nodes are built: in records, and for entities, which may be parsed for them.
[[nodiscard]] bool is_building(const xmlParserCtxt *context) noexcept {
    const parse_run &run = *host::current_run;
    const record_stream &stream = stream_of(run);
    return !run.stopped && context->inSubset == 0 &&
           ((stream.record_depth != 0 && !stream.skips) || is_in_entity(run, context));
}

void on_characters(void *data, const xmlChar *text, int length) noexcept {
    if (is_building(static_cast<xmlParserCtxtPtr>(data))) {
        record_stream &stream = stream_of(*host::current_run);
        stream.add_characters(data, text, length);
    }
}

void on_section(void *data, const xmlChar *text, int length) noexcept {
    if (is_building(static_cast<xmlParserCtxtPtr>(data))) {
        xmlSAX2CDataBlock(data, text, length);
    }
}

void on_comment(void *data, const xmlChar *text) noexcept {
    if (is_building(static_cast<xmlParserCtxtPtr>(data))) {
        xmlSAX2Comment(data, text);
    }
}

void on_instruction(void *data, const xmlChar *target, const xmlChar *text) noexcept {
    if (is_building(static_cast<xmlParserCtxtPtr>(data))) {
        xmlSAX2ProcessingInstruction(data, target, text);
    }
}

// A reference that cannot be replaced, since nothing declares the entity. The record would be
// written with it and could not be read again.
void on_reference(void *data, const xmlChar *name) noexcept {
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *host::current_run;
    if (!is_building(context)) {
        return;
    }
    char words[160];
    std::snprintf(words, sizeof words, "the entity %.100s is not declared in the stream",
                  reinterpret_cast<const char *>(name));
    host::fail_parse(run, context, words);
}

[[nodiscard]] bool has_elements(const xmlEntity *entity) noexcept {
    if (entity == nullptr || entity->etype != XML_INTERNAL_GENERAL_ENTITY) {
        return false;
    }
    for (const xmlNode *node = entity->children; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE) {
            return true;
        }
        if (node == entity->last) {
            break;
        }
    }
    return false;
}

xmlEntityPtr on_get_entity(void *data, const xmlChar *name) noexcept {
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *host::current_run;
    const record_stream &stream = stream_of(run);
    xmlEntityPtr const entity = stream.admit_entity(data, name);
    if (stream.record_depth == 0 && !is_in_entity(run, context) && has_elements(entity)) {
        host::fail_parse(run, context, k_entity_outside);
        return nullptr;
    }
    if (entity == nullptr && host::may_be_declared_elsewhere(context)) [[unlikely]] {
        on_reference(data, name); // libxml2 leaves it out of an attribute
    }
    return entity;
}

} // namespace

void set_record_callbacks(record_stream &stream) noexcept {
    xmlSAXHandler &handler = *stream.parse.run.context->sax;
    stream.admit_entity = handler.getEntity;
    stream.add_characters = handler.characters;
    handler.startElementNs = on_start_element;
    handler.endElementNs = on_end_element;
    handler.characters = on_characters;
    handler.ignorableWhitespace = on_characters;
    handler.cdataBlock = on_section;
    handler.comment = on_comment;
    handler.processingInstruction = on_instruction;
    handler.reference = on_reference;
    handler.getEntity = on_get_entity;
}

} // namespace pkg_dbe_xml
