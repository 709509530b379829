// Elements that are shown while a document is parsed, instead of becoming part of it.
#include "libxml/passing_tree.hpp"
#include "libxml/xml_parse_run.hpp"
#include "libxml/xml_work.hpp"

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

// Whether what the context reads is not for the watcher.
[[nodiscard]] bool is_hidden(const parse_run &run, const xmlParserCtxt *context) noexcept {
    return context != run.context || context->myDoc == nullptr ||
           context->myDoc->intSubset != nullptr;
}

// Ends a parse that was refused memory; the gate knows by whom.
void refuse(parse_run &run, xmlParserCtxtPtr context) noexcept {
    if (!must_stop(run, context)) {
        run.stopped = true;
        halt_context(context);
    }
}

void show_element(parse_run &run, xmlParserCtxtPtr context) noexcept {
    if (!run.stopped && !gate.refused && context->wellFormed != 0 &&
        !run.watch->show(run.watch->state, run.passing->top())) {
        run.watch->stopped = true;
        run.stopped = true;
        run.context->recovery = 1; // libxml2 leaves freeing the document to us
        halt_context(context);
    }
    run.passing->drop();
}

void add_text(void *data, xmlElementType type, const xmlChar *text, int size) noexcept {
    parse_run &run = *current_run;
    if (!run.passing->add_text(type, text, size)) [[unlikely]] {
        refuse(run, static_cast<xmlParserCtxtPtr>(data));
    }
}

void on_characters(void *data, const xmlChar *text, int size) noexcept {
    if (is_hidden(*current_run, static_cast<xmlParserCtxtPtr>(data))) {
        characters_callback()(data, text, size);
    } else {
        add_text(data, XML_TEXT_NODE, text, size);
    }
}

void on_cdata(void *data, const xmlChar *text, int size) noexcept {
    if (is_hidden(*current_run, static_cast<xmlParserCtxtPtr>(data))) {
        xmlSAX2CDataBlock(data, text, size);
    } else {
        add_text(data, XML_CDATA_SECTION_NODE, text, size);
    }
}

void add_leaf(void *data, xmlElementType type, const xmlChar *name,
              const xmlChar *content) noexcept {
    parse_run &run = *current_run;
    if (!run.passing->add_leaf(type, name, content)) [[unlikely]] {
        refuse(run, static_cast<xmlParserCtxtPtr>(data));
    }
}

void on_comment(void *data, const xmlChar *content) noexcept {
    if (current_run->passing->is_open()) {
        add_leaf(data, XML_COMMENT_NODE, xmlStringComment, content);
    } else {
        xmlSAX2Comment(data, content);
    }
}

void on_instruction(void *data, const xmlChar *target, const xmlChar *content) noexcept {
    if (current_run->passing->is_open()) {
        add_leaf(data, XML_PI_NODE, target, content);
    } else {
        xmlSAX2ProcessingInstruction(data, target, content);
    }
}

} // namespace

bool begin_shown(parse_run &run, xmlParserCtxtPtr context, const start_tag &tag,
                 const xmlChar **namespaces) noexcept {
    passing_tree &passing = *run.passing;
    const bool is_inside = passing.is_open();
    if (!is_inside && (context->nodeNr + 1 != run.watch->depth || is_hidden(run, context) ||
                       context->node == nullptr)) {
        return false;
    }
    if (!passing.begin_element(context, tag, namespaces)) [[unlikely]] {
        refuse(run, context);
    } else if (!is_inside && !run.watch->wants(run.watch->state, passing.top())) {
        passing.pass_over();
    }
    return true;
}

bool end_shown(parse_run &run, xmlParserCtxtPtr context) noexcept {
    if (!run.passing->is_open()) {
        return false;
    }
    if (run.passing->end_element()) {
        show_element(run, context);
    }
    return true;
}

void set_watch_callbacks(xmlParserCtxtPtr context, bool watched) noexcept {
    xmlSAXHandler &handler = *context->sax;
    handler.characters = handler.ignorableWhitespace =
        watched ? on_characters : characters_callback();
    handler.cdataBlock = watched ? on_cdata : xmlSAX2CDataBlock;
    handler.comment = watched ? on_comment : xmlSAX2Comment;
    handler.processingInstruction = watched ? on_instruction : xmlSAX2ProcessingInstruction;
}

} // namespace host
