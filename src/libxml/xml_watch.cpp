// Elements that are shown while a document is parsed, and taken out of it.
#include "libxml/xml_parse_run.hpp"

#include <libxml/parserInternals.h>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

// A larger element stays until its document goes: freeing that can be interrupted.
constexpr std::int64_t k_largest_dropped = std::int64_t{8} * 1024 * 1024;

bool is_text(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

// Takes an element out that ended last, and the text in front of it. libxml2 appends text to a text
// that stands last, in a time that grows with both: so none is left to stand last.
void drop_element(xmlParserCtxtPtr context, xmlNodePtr element) noexcept {
    xmlNodePtr before = element->prev;
    xmlUnlinkNode(element);
    xmlFreeNode(element);
    while (before != nullptr && is_text(before)) {
        xmlNodePtr const text = before;
        before = text->prev;
        xmlUnlinkNode(text);
        xmlFreeNode(text);
    }
    // What libxml2 remembers of the text that it wrote last.
    context->nodelen = 0;
    context->nodemem = 0;
}

} // namespace

void show_element(parse_run &run, xmlParserCtxtPtr context, xmlNodePtr element) noexcept {
    if (run.stopped || gate.refused || context->wellFormed == 0 ||
        context->myDoc->intSubset != nullptr) {
        return;
    }
    const watch_answer answer = run.watch->show(run.watch->state, element);
    if (answer == watch_answer::stop) {
        run.watch->stopped = true;
        run.stopped = true;
        run.context->recovery = 1; // libxml2 leaves freeing the document to us
        halt_context(context);
    } else if (answer == watch_answer::drop &&
               gate.bytes_in_use - run.shown_at <= k_largest_dropped &&
               element->parent != reinterpret_cast<xmlNodePtr>(context->myDoc)) {
        drop_element(context, element);
    }
    run.shown_at = gate.bytes_in_use;
}

} // namespace host
