// A parse in progress: what the callbacks of libxml2 share with xml_parse_doc.
#pragma once

#include "libxml/xml_service.hpp"

#include <libxml/hash.h>
#include <libxml/parser.h>

#include <cstddef>
#include <cstdint>

namespace host {

class passing_tree; // src/libxml/passing_tree.hpp
struct start_tag;   // src/libxml/xml_work.hpp

// Up to how many entries the tables of a document are wide enough.
struct table_widths {
    int ids, refs, weights, special, defaults;
    int attributes, elements, notations, entities, parameters;
};

struct parse_run {
    xmlParserCtxtPtr context; // the one the parse was begun with; entities are parsed in others
    const char *text;
    std::size_t length;
    std::size_t position; // of what libxml2 has not yet been given
    parse_diagnostics *diagnostics;
    std::int64_t budget;       // bytes that a parse of this text may take
    std::int64_t charged;      // of it, for work that the gate does not see
    std::int64_t start;        // bytes in use when the parse began
    std::int64_t entity_start; // bytes in use when the entity was referenced that is being parsed
    std::int64_t text_begun;   // position and entity text when the text node was begun that
    std::int64_t entity_text;  // grows at present; bytes of entity text in all
    std::int64_t declaration_text; // bytes read since the last declaration ended
    std::int64_t work;             // steps done (src/libxml/xml_work.hpp)
    std::int64_t work_allowed;     // and how many may be
    xmlHashTablePtr weights;       // type_weight, by the name of the type; made when needed
    table_widths widths;           // of tables that were widened
    std::uint32_t types_declared, attributes_declared, elements_with_attributes;
    bool has_heavy_types;  // elements of some types cost more than others
    int depth;             // open elements, entities included
    int namespaces;        // what libxml2 had of them at the last tag
    int spaces;            // values of xml:space that it has before the first tag
    bool gated;            // the gate counts what libxml2 allocates
    bool polls;            // watches for requests to stop
    bool stopped;          // by a limit or a request; nothing that libxml2 returns counts any more
    bool cancelled;        // a request was the reason
    bool fatal_noted;      // the first error noted is one against well-formedness
    bool text_left;        // the document ended before its text did
    void *stream;          // whom the callbacks of a stream's parse belong to; null in others
    element_watch *watch;  // null: nobody watches
    passing_tree *passing; // what it is shown is built there; null when nobody watches
};
// Null while no parse is in progress.
extern constinit PKG_DBE_XML_SESSION_STORAGE parse_run *current_run;

// What a text, or a part of one, of `length` bytes may take: bytes, and steps of work.
[[nodiscard]] std::int64_t budget_for(std::size_t length) noexcept;
[[nodiscard]] std::int64_t work_for(std::size_t length) noexcept;

// Arms the gate for `run` as long as it lives.
class watched_parse {
  public:
    explicit watched_parse(parse_run &run) noexcept;
    ~watched_parse();
    watched_parse(const watched_parse &) = delete;
    watched_parse &operator=(const watched_parse &) = delete;
};
// Sets what the gate holds against the parse anew, after `start` or `budget` have changed.
void set_ceiling(const parse_run &run) noexcept;

// Memory was refused for what libxml2 needs besides the tree: reports it.
[[noreturn]] void raise_refused(std::size_t size);

// Ends the parse for a reason that libxml2 does not know, with these words.
void fail_parse(parse_run &run, xmlParserCtxtPtr context, const char *words) noexcept;
// Ends the parse: notes the limit and the place, and stops `context`, which may be the context of
// an entity. `name` is null for a request to stop.
void stop_parse(parse_run &run, xmlParserCtxtPtr context, const char *name, int value) noexcept;
// The same for the budget, naming the setting that gave the larger part of it, or that of the
// session's memory when this is what is used up.
void stop_for_budget(parse_run &run, xmlParserCtxtPtr context) noexcept;
// True when the parse was stopped, or has to be now: by the gate, or because the statement was
// asked to stop. `context` is halted then; null when libxml2 cannot bear that.
[[nodiscard]] bool must_stop(parse_run &run, xmlParserCtxtPtr context) noexcept;
// The document ended before its text did.
void note_text_left(parse_run &run) noexcept;
// Keeps a context from parsing on.
void halt_context(xmlParserCtxtPtr context) noexcept;

// More text of the declaration that is being read.
void charge_declaration(parse_run &run, xmlParserCtxtPtr context, std::int64_t bytes) noexcept;

// Frees a document as far as that can be done at once, and keeps the rest for release_abandoned.
void discard_document(xmlDocPtr document) noexcept;

// At the start and the end of an element of a parse that somebody watches: true when it is shown or
// passed over, and libxml2 is not to build it.
[[nodiscard]] bool begin_shown(parse_run &run, xmlParserCtxtPtr context, const start_tag &tag,
                               const xmlChar **namespaces) noexcept;
[[nodiscard]] bool end_shown(parse_run &run, xmlParserCtxtPtr context) noexcept;
// Puts the other callbacks that a watched parse needs into a context, or takes them out again.
void set_watch_callbacks(xmlParserCtxtPtr context, bool watched) noexcept;

// Frees the context that is kept for the next parse.
void forget_parser_ctxt() noexcept;

// Puts the callbacks that keep the limits into a context.
void set_limit_callbacks(xmlParserCtxtPtr context) noexcept;
// What these do at the start of an element before it is built, false when the parse was stopped,
// and at its end.
[[nodiscard]] bool admit_element(parse_run &run, xmlParserCtxtPtr context,
                                 const start_tag &tag) noexcept;
void leave_element(parse_run &run, xmlParserCtxtPtr context) noexcept;
// What adds text to a tree.
[[nodiscard]] charactersSAXFunc characters_callback() noexcept;
// Whether an entity that nothing declares may be declared in a file, which is not loaded; otherwise
// libxml2 refuses a reference to it.
[[nodiscard]] bool may_be_declared_elsewhere(const xmlParserCtxt *context) noexcept;
// More attributes or namespaces are being collected for one element than are allowed. They are
// compared with each other before any callback hears of them.
[[nodiscard]] bool collects_too_many_attributes(const parse_run &run) noexcept;

} // namespace host
