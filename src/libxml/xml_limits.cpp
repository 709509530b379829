// The limits of a parse that are kept by what the parser reports of the document.
//
// Each callback does what libxml2's own does, after a look at its limit. None of them throws, and
// a parse that was stopped goes no further: the contexts of entities end first, the outermost one
// at its next callback or when it asks for more text.
#include "libxml/content_model.hpp"
#include "libxml/library_version.hpp"
#include "libxml/xml_parse_run.hpp"

#include "host/limits.hpp"
#include "libxml/xml_work.hpp"

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <climits>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

constinit PKG_DBE_XML_SESSION_STORAGE parse_limit_settings parse_limits{};
constinit PKG_DBE_XML_SESSION_STORAGE path_limit_settings path_limits{};

namespace {

// What a reference to an entity costs at least, and a node copied from one: bytes.
constexpr std::int64_t k_reference_cost = 64;
constexpr std::int64_t k_node_cost = 128;
// Text that comes from entities counts eightfold: libxml2 appends it in a time that grows with the
// square of its length.
constexpr std::int64_t k_entity_text_factor = 8;
// Names that may be mixed with text are only searched, not compiled.
constexpr int k_mixed_model_factor = 10;
// libxml2 keeps five pointers for each attribute, and doubles its room.
constexpr int k_pointers_per_attribute = 5;
// Comparisons of attributes, and steps through namespaces, for one byte of the budget.
constexpr std::int64_t k_steps_per_byte = 16;
// The same for bytes of text that are looked through once more for each entity appended to them.
constexpr std::int64_t k_text_per_byte = 512;
// A declaration longer than this is charged for: libxml2 compares each name in a list of values
// with each.
constexpr std::int64_t k_long_declaration = 16384;
constexpr std::int64_t k_declaration_text_per_byte = 64;
// What an error costs that is raised for each pair of ID attributes of one element.
constexpr std::int64_t k_error_cost = 400;
// A model with optional parts is compiled in cubic time: one byte for each few of these steps.
constexpr std::int64_t k_model_steps_per_byte = 5;
// Elements with less than this are too quickly done to be charged for.
constexpr int k_few = 16;

void charge(parse_run &run, xmlParserCtxtPtr context, std::int64_t bytes) noexcept {
    run.charged += bytes;
    if (run.charged > run.budget) [[unlikely]] {
        stop_for_budget(run, context);
    }
}

// What the attributes of an element take in the tree, where the gate does not tell.
std::int64_t cost_of(const xmlChar **attributes, int count) noexcept {
    std::int64_t cost = 0;
    for (int i = 0; i < count; ++i) {
        const xmlChar **attribute = attributes + k_pointers_per_attribute * i;
        cost += 2 * k_node_cost + (attribute[4] - attribute[3]); // end and beginning of the value
    }
    return cost;
}

// A tag: text that follows is a node of its own.
void begin_text(parse_run &run, const xmlParserCtxt *context) noexcept {
    run.text_begun = static_cast<std::int64_t>(run.position) + run.entity_text;
    if (context == run.context) {
        run.namespaces = context->nsNr;
    }
}

// What an entity gave when it is parsed first is copied once for each entity it stands in. libxml2
// loses the original when such a copy fails, so there must be room for all of them beforehand.
bool leaves_room_for_copies(const parse_run &run, const xmlParserCtxt *context) noexcept {
    const std::int64_t made = gate.bytes_in_use - run.entity_start;
    return run.entity_start + made * (2 + context->depth) <= gate.ceiling;
}

void on_start_element(void *data, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                      int namespace_count, const xmlChar **namespaces, int attribute_count,
                      int defaulted_count, const xmlChar **attributes) noexcept {
    parse_run &run = *current_run;
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    const start_tag tag{name, prefix, uri, namespace_count, attribute_count, attributes};
    if (admit_element(run, context, tag) &&
        (run.watch == nullptr || !begin_shown(run, context, tag, namespaces))) {
        xmlSAX2StartElementNs(data, name, prefix, uri, namespace_count, namespaces, attribute_count,
                              defaulted_count, attributes);
    }
}

// Apart from what is done for every element, which then has no registers to save.
[[gnu::noinline]] void end_watched_element(parse_run &run, void *data, const xmlChar *name,
                                           const xmlChar *prefix, const xmlChar *uri) noexcept {
    if (!end_shown(run, static_cast<xmlParserCtxtPtr>(data))) {
        xmlSAX2EndElementNs(data, name, prefix, uri);
    }
}

void on_end_element(void *data, const xmlChar *name, const xmlChar *prefix,
                    const xmlChar *uri) noexcept {
    parse_run &run = *current_run;
    leave_element(run, static_cast<xmlParserCtxtPtr>(data));
    if (run.watch == nullptr) [[likely]] {
        xmlSAX2EndElementNs(data, name, prefix, uri);
    } else {
        end_watched_element(run, data, name, prefix, uri);
    }
}

struct model_size {
    int particles; // names and groups
    std::int64_t optional;
    int alternatives; // members of choices
};

// Counts no further than to one particle more than `most`.
model_size measure_model(const xmlElementContent *model, int most) noexcept {
    model_size size{0, 0, 0};
    for (const xmlElementContent *particle = model; particle != nullptr && size.particles <= most;
         particle = next_particle(particle, model)) {
        ++size.particles;
        if (particle->ocur == XML_ELEMENT_CONTENT_OPT ||
            particle->ocur == XML_ELEMENT_CONTENT_MULT) {
            ++size.optional;
        }
        size.alternatives += particle->type == XML_ELEMENT_CONTENT_OR;
    }
    return size;
}

void on_element_declaration(void *data, const xmlChar *name, int type,
                            xmlElementContentPtr model) noexcept {
    auto *context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *current_run;
    if (must_stop(run, context)) [[unlikely]] {
        return;
    }
    // A model of n names is a chain of n - 1 groups.
    const int factor = type == XML_ELEMENT_TYPE_MIXED ? k_mixed_model_factor : 1;
    const int most = parse_limits.max_particles < 1000000 ? parse_limits.max_particles * factor
                                                          : parse_limits.max_particles;
    const model_size size = measure_model(model, 2 * most);
    if (size.particles > 2 * most) {
        stop_parse(run, context, k_max_particles_name, parse_limits.max_particles);
        return;
    }
    run.declaration_text = 0;
    charge(run, context, size.optional * size.optional * size.optional / k_model_steps_per_byte);
    if (!run.stopped) {
        work_for_element_declaration(run, context, name, type, model, size.particles,
                                     size.alternatives);
    }
    if (run.stopped) [[unlikely]] {
        return;
    }
    xmlSAX2ElementDecl(data, name, type, model);
}

// The weight of the type that an attribute is declared for; null when the parse is to stop.
type_weight *admit_declaration(parse_run &run, xmlParserCtxtPtr context, const xmlChar *element,
                               int type) noexcept {
    if (must_stop(run, context)) {
        return nullptr;
    }
    run.declaration_text = 0;
    type_weight *const weight = weight_of_declared(run, element);
    if (weight == nullptr) {
        run.stopped = true; // the gate knows why
        halt_context(context);
    } else if (weight->attributes >= parse_limits.max_attributes) {
        stop_parse(run, context, k_max_attributes_name, parse_limits.max_attributes);
    } else if (type == XML_ATTRIBUTE_ID) {
        charge(run, context, k_error_cost * weight->attributes);
    }
    return run.stopped ? nullptr : weight;
}

// libxml2 has compared each value with each by now. Later versions do not tell while they read them
// that they are in a declaration, so that its length could be charged for: the list is.
void charge_values(parse_run &run, xmlParserCtxtPtr context,
                   const xmlEnumeration *values) noexcept {
    std::int64_t count = 0;
    for (; values != nullptr; values = values->next) {
        ++count;
    }
    charge(run, context, count * count / 2 / k_steps_per_byte);
}

void on_attribute_declaration(void *data, const xmlChar *element, const xmlChar *name, int type,
                              int default_kind, const xmlChar *default_value,
                              xmlEnumerationPtr values) noexcept {
    auto *context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *current_run;
    type_weight *const weight = admit_declaration(run, context, element, type);
    if (weight != nullptr) {
        charge_values(run, context, values);
        work_for_attribute_declaration(run, context, *weight, type, default_kind,
                                       default_value != nullptr, values);
    }
    if (run.stopped) {
        xmlFreeEnumeration(values);
        return;
    }
    xmlSAX2AttributeDecl(data, element, name, type, default_kind, default_value, values);
}

// Adds up what copying the nodes of an entity that was parsed before costs, and how deep they lie;
// stops early once the cost passes `most`.
struct extent {
    std::int64_t cost;
    int depth;
};
extent measure_entity(const xmlEntity *entity, std::int64_t most) noexcept {
    extent sum{0, 0};
    int depth = 1;
    const xmlNode *node = entity->children;
    while (node != nullptr && sum.cost <= most) {
        sum.cost += k_node_cost;
        if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE ||
            node->type == XML_COMMENT_NODE || node->type == XML_PI_NODE) {
            sum.cost += k_entity_text_factor * xmlStrlen(node->content);
        }
        if (node->type == XML_ELEMENT_NODE) {
            for (const xmlAttr *attribute = node->properties; attribute != nullptr;
                 attribute = attribute->next) {
                sum.cost += 2 * k_node_cost;
                if (attribute->children != nullptr && attribute->children->content != nullptr) {
                    sum.cost += xmlStrlen(attribute->children->content);
                }
            }
            sum.depth = depth > sum.depth ? depth : sum.depth;
            if (node->children != nullptr) {
                node = node->children;
                ++depth;
                continue;
            }
        }
        // The last node's parent may be the entity or, once its nodes were handed to the document,
        // an element; the walk ends where the depth it began at ends.
        while (node->next == nullptr && depth > 1) {
            node = node->parent;
            --depth;
        }
        node = node == entity->last ? nullptr : node->next;
    }
    return sum;
}

// Keeps libxml2 from a limit of its own, by which it refuses honest documents that use entities and
// default values a lot; the budget does not. It compares what comes out of them with this.
void forget_amplification([[maybe_unused]] xmlParserCtxtPtr context) noexcept {
#if LIBXML_VERSION >= 21100 && LIBXML_VERSION < 21300 // later versions are told once
    context->sizeentities = ULONG_MAX;
#endif
}

xmlEntityPtr admit_entity(parse_run &run, xmlParserCtxtPtr context, xmlEntityPtr entity) noexcept {
    if (entity == nullptr) {
        return nullptr;
    }
    const std::int64_t text_so_far =
        static_cast<std::int64_t>(run.position) + run.entity_text - run.text_begun;
    std::int64_t cost = k_reference_cost + text_so_far / k_text_per_byte;
    run.entity_text += entity->length;
    if (context == run.context) {
        run.entity_start = gate.bytes_in_use;
    }
    if (entity->children == nullptr) {
        cost += (k_entity_text_factor + context->depth) * entity->length;
    } else {
        const extent nodes = measure_entity(entity, run.budget - run.charged);
        cost += nodes.cost;
        if (run.depth + nodes.depth > parse_limits.max_depth) {
            stop_parse(run, context, k_max_depth_name, parse_limits.max_depth);
            return nullptr;
        }
    }
    charge(run, context, cost);
    return run.stopped ? nullptr : entity;
}

// A reference to what only a file can declare, which is not loaded, stays in the tree. From 2.13 on
// libxml2 leaves it out where references are to be replaced, so it is told here. That it reads
// content shows in how many more values of xml:space it keeps than there are open elements: within
// a start tag it is one more than before the first.
void keep_reference(const parse_run &run, xmlParserCtxtPtr context, const xmlChar *name) noexcept {
    constexpr int k_first_that_leaves_out = 21300;
    if (may_be_declared_elsewhere(context) && context->inSubset == 0 &&
        context->replaceEntities != 0 && context->disableSAX == 0 &&
        context->spaceNr - context->nameNr == run.spaces &&
        libxml2_number() >= k_first_that_leaves_out) {
        context->sax->reference(context->userData, name);
    }
}

// Every reference to an entity comes by here, those within attributes and within other entities
// too.
xmlEntityPtr on_get_entity(void *data, const xmlChar *name) noexcept {
    auto *context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *current_run;
    if (must_stop(run, context)) [[unlikely]] {
        return nullptr;
    }
    forget_amplification(context);
    xmlEntityPtr const entity = xmlSAX2GetEntity(data, name);
    if (entity == nullptr) [[unlikely]] {
        keep_reference(run, context, name);
    }
    return admit_entity(run, context, entity);
}

// Takes from an external entity what libxml2 would look for: it asks the file system whether a name
// is there before it asks the entity loader. The identifiers that are written stay.
void forget_location(xmlEntityPtr entity) noexcept {
    if (entity == nullptr || (entity->etype != XML_EXTERNAL_GENERAL_PARSED_ENTITY &&
                              entity->etype != XML_EXTERNAL_GENERAL_UNPARSED_ENTITY &&
                              entity->etype != XML_EXTERNAL_PARAMETER_ENTITY)) {
        return;
    }
    xmlChar *nowhere = xmlStrdup(BAD_CAST "");
    if (nowhere != nullptr) { // else the gate knows, and the parse fails
        xmlFree(const_cast<xmlChar *>(entity->URI));
        entity->URI = nowhere;
    }
}

// One more in the tables of the document type.
void count_declared(parse_run &run, xmlParserCtxtPtr context) noexcept {
    if (++run.types_declared % 512 == 0) {
        widen_tables(run, context);
    }
}

void on_notation_declaration(void *data, const xmlChar *name, const xmlChar *public_id,
                             const xmlChar *system_id) noexcept {
    current_run->declaration_text = 0;
    count_declared(*current_run, static_cast<xmlParserCtxtPtr>(data));
    xmlSAX2NotationDecl(data, name, public_id, system_id);
}

void on_entity_declaration(void *data, const xmlChar *name, int type, const xmlChar *public_id,
                           const xmlChar *system_id, xmlChar *content) noexcept {
    current_run->declaration_text = 0;
    count_declared(*current_run, static_cast<xmlParserCtxtPtr>(data));
    xmlSAX2EntityDecl(data, name, type, public_id, system_id, content);
    const bool parameter =
        type == XML_INTERNAL_PARAMETER_ENTITY || type == XML_EXTERNAL_PARAMETER_ENTITY;
    forget_location(parameter ? xmlSAX2GetParameterEntity(data, name)
                              : xmlSAX2GetEntity(data, name));
}

xmlEntityPtr on_get_parameter_entity(void *data, const xmlChar *name) noexcept {
    auto *context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *current_run;
    if (must_stop(run, context)) [[unlikely]] {
        return nullptr;
    }
    forget_amplification(context);
    xmlEntityPtr entity = admit_entity(run, context, xmlSAX2GetParameterEntity(data, name));
    if (entity != nullptr) {
        charge_declaration(run, context, entity->length);
    }
    return run.stopped ? nullptr : entity;
}

void on_internal_subset(void *data, const xmlChar *name, const xmlChar *external_id,
                        const xmlChar *system_id) noexcept {
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    current_run->diagnostics->has_doctype = true;
    current_run->spaces = context->spaceNr - context->nameNr;
    context->progressive = 0; // see stop_asking
    forget_amplification(context);
    xmlSAX2InternalSubset(data, name, external_id, system_id);
}

// An external subset is not loaded.
void on_external_subset(void * /*data*/, const xmlChar * /*name*/, const xmlChar * /*external_id*/,
                        const xmlChar * /*system_id*/) noexcept {}

xmlParserInputPtr on_resolve_entity(void * /*data*/, const xmlChar * /*public_id*/,
                                    const xmlChar * /*system_id*/) noexcept {
    return nullptr;
}

// Text behind another node: 2.10 looks into the node that it has found no memory for.
void add_characters(void *data, const xmlChar *text, int length) noexcept {
    auto *const context = static_cast<xmlParserCtxtPtr>(data);
    xmlNodePtr const parent = context->node;
    const xmlNode *const before = parent == nullptr ? nullptr : parent->last;
    if (before == nullptr || (before->type == XML_TEXT_NODE && before->name == xmlStringText)) {
        xmlSAX2Characters(data, text, length);
        return;
    }
    xmlNodePtr const made = xmlNewTextLen(text, length);
    if (made == nullptr) {
        return; // the gate knows, and the parse fails
    }
    made->doc = context->myDoc;
    if (context->linenumbers != 0 && context->input != nullptr) {
        made->line = static_cast<unsigned short>(std::min(context->input->line, USHRT_MAX));
    }
    xmlAddChild(parent, made);
    context->nodelen = length;
    context->nodemem = length + 1;
}

// Some versions accept text after the root element in some circumstances.
void on_end_document(void *data) noexcept {
    auto *context = static_cast<xmlParserCtxtPtr>(data);
    parse_run &run = *current_run;
    const xmlParserInput *input = context->input;
    if (context == run.context && input != nullptr && input->cur < input->end) {
        note_text_left(run);
    }
    check_references(run, context);
    xmlDocPtr const document = context->myDoc;
    void *const references = document == nullptr ? nullptr : document->refs;
    if (document != nullptr) {
        document->refs = nullptr; // these were checked
    }
    xmlSAX2EndDocument(data);
    if (document != nullptr) {
        document->refs = references;
    }
}

} // namespace

bool may_be_declared_elsewhere(const xmlParserCtxt *context) noexcept {
    return context->standalone != 1 && (context->hasExternalSubset != 0 || context->hasPErefs != 0);
}

charactersSAXFunc characters_callback() noexcept {
    const int number = libxml2_number();
    return number >= 21000 && number < 21100 ? add_characters : xmlSAX2Characters;
}

bool admit_element(parse_run &run, xmlParserCtxtPtr context, const start_tag &tag) noexcept {
    if (run.stopped || gate.budget_spent || gate.cancelled) [[unlikely]] {
        static_cast<void>(must_stop(run, context));
        return false;
    }
    if (++run.depth > parse_limits.max_depth) [[unlikely]] {
        stop_parse(run, context, k_max_depth_name, parse_limits.max_depth);
        return false;
    }
    if (tag.attributes > parse_limits.max_attributes ||
        tag.namespaces > parse_limits.max_attributes) [[unlikely]] {
        stop_parse(run, context, k_max_attributes_name, parse_limits.max_attributes);
        return false;
    }
    if (context != run.context) [[unlikely]] {
        forget_amplification(context);
        if (!leaves_room_for_copies(run, context)) {
            stop_for_budget(run, context);
            return false;
        }
    }
    begin_text(run, context);
    if (tag.attributes > k_few || context->nsNr > k_few) [[unlikely]] {
        const std::int64_t count = tag.attributes + 1;
        charge(run, context, count * (count + context->nsNr) / k_steps_per_byte);
    }
    if (!run.gated) [[unlikely]] {
        charge(run, context,
               k_node_cost * (1 + tag.namespaces) + cost_of(tag.list, tag.attributes));
    }
    work_for_element(run, context, tag);
    return !run.stopped;
}

void leave_element(parse_run &run, xmlParserCtxtPtr context) noexcept {
    --run.depth;
    begin_text(run, context);
}

void charge_declaration(parse_run &run, xmlParserCtxtPtr context, std::int64_t bytes) noexcept {
    const std::int64_t before = run.declaration_text;
    run.declaration_text += bytes;
    if (run.declaration_text > k_long_declaration) [[unlikely]] {
        charge(run, context, (2 * before + bytes) * bytes / k_declaration_text_per_byte);
    }
}

bool collects_too_many_attributes(const parse_run &run) noexcept {
    const xmlParserCtxt *context = run.context;
    return context->maxatts / k_pointers_per_attribute / 2 >= parse_limits.max_attributes ||
           (context->nsNr - run.namespaces) / 4 >= parse_limits.max_attributes;
}

void set_limit_callbacks(xmlParserCtxtPtr context) noexcept {
    xmlSAXHandler &handler = *context->sax;
    handler.startElementNs = on_start_element;
    handler.endElementNs = on_end_element;
    handler.elementDecl = on_element_declaration;
    handler.attributeDecl = on_attribute_declaration;
    handler.entityDecl = on_entity_declaration;
    handler.notationDecl = on_notation_declaration;
    handler.getEntity = on_get_entity;
    handler.getParameterEntity = on_get_parameter_entity;
    handler.internalSubset = on_internal_subset;
    handler.externalSubset = on_external_subset;
    handler.resolveEntity = on_resolve_entity;
    handler.endDocument = on_end_document;
    if (handler.ignorableWhitespace == handler.characters) { // libxml2 compares the two
        handler.ignorableWhitespace = characters_callback();
    }
    handler.characters = characters_callback();
}

} // namespace host
