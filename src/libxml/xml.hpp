// The host's XML service: parsing under limits, and the scopes within which libxml2 is used.
//
// libxml2's state is shared with whatever else runs in the process. All work with it stands inside
// a scope. `tree_scope` is for changes of a tree and costs a few instructions; `xml_scope` is for
// everything that may print, load or depend on libxml2's defaults: parsing, writing, encoding
// handlers. Both make failed allocations known: libxml2 often goes on without the memory and
// gives a truncated result.
#pragma once

#include "host/session.hpp"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

namespace host {

// The allocation gate in front of libxml2, of this session.
//
// The gate stands in libxml2's allocation functions, of the whole process, and forwards to the
// plain heap, or within scopes to an arena of the session (src/libxml/xml_arena.hpp); blocks
// made before it was put there, or by others, are as good as any. It counts
// whatever libxml2 allocates and frees on behalf of the session, inside scopes or not, so that a
// block freed late is not counted for ever. It refuses, and reports failures, only within scopes.
struct allocation_gate {
    std::uint32_t depth = 0;        // scopes open
    std::uint32_t quiet_scopes = 0; // those of them that have set error handlers
    std::uint32_t countdown = 1;    // allocations until the gate looks up from its counting
    bool ready = false;             // the gate was put into libxml2, or cannot be
    bool refused = false; // an allocation failed or was refused since the innermost scope began
    bool handlers_saved = false;   // error handlers were replaced when the first allocation failed
    bool parsing = false;          // keep to the ceiling
    bool polls = false;            // look for requests to stop
    bool budget_spent = false;     // the ceiling was passed: the parse is to stop
    bool session_full = false;     // what was refused last would have passed the session's limit
    bool cancelled = false;        // the statement was asked to stop
    std::uint32_t patience = 0;    // looks left, after that, before allocations are refused
    std::int64_t bytes_in_use = 0; // usable bytes of the blocks that libxml2 holds
    std::int64_t handle_bytes = 0; // what the registry takes for handles
    std::int64_t ceiling = INT64_MAX; // what bytes_in_use may reach before the gate looks closer
    std::int64_t wall = INT64_MAX;    // what it may reach before allocations are refused
    std::size_t refused_size = 0;     // of the allocation that was refused last
};
extern constinit PKG_DBE_XML_SESSION_STORAGE allocation_gate gate;

// Puts the gate into libxml2, once per process.
void prepare_gate() noexcept;
// False when this libxml2 does not let anyone stand in its allocations. Limits are then kept by
// what the parser reports of the document, and failed allocations go unnoticed.
[[nodiscard]] bool gate_in_force() noexcept;
// To be told when `freed` bytes of libxml2's were freed in one go: gives them back to the machine
// where that is worth its cost. The heap keeps what lies between blocks still in use otherwise.
void give_memory_back(std::int64_t freed) noexcept;
// What a block for `size` bytes of libxml2's takes of the session's memory, overhead included.
[[nodiscard]] std::size_t allocation_cost(std::size_t size) noexcept;
// What bytes_in_use may reach: the limit of the session less what handles take. libxml2 cannot be
// refused memory while it parses without losing some: then the parse is stopped, and may pass this
// by what it allocates until it does.
[[nodiscard]] std::int64_t session_room() noexcept;
// Notes that handles take `bytes` more, or less where it is negative.
void count_handle_bytes(std::int64_t bytes) noexcept;
// Whether handles may take `bytes` more.
[[nodiscard]] bool has_room_for_handles(std::int64_t bytes) noexcept;

// Puts the error handlers back that were replaced when an allocation failed.
void restore_error_handlers() noexcept;

class tree_scope {
  public:
    tree_scope() noexcept : outer_refused_(gate.refused) {
        if (!gate.ready) [[unlikely]] {
            prepare_gate();
        }
        gate.refused = false;
        gate.session_full = false;
        ++gate.depth;
    }
    ~tree_scope() {
        --gate.depth;
        gate.refused = outer_refused_;
        if (gate.handlers_saved && gate.depth == 0) [[unlikely]] {
            restore_error_handlers();
        }
    }
    tree_scope(const tree_scope &) = delete;
    tree_scope &operator=(const tree_scope &) = delete;
    // An allocation failed since the scope began: what libxml2 returned may be truncated.
    [[nodiscard]] bool refused() const noexcept { return gate.refused; }

  private:
    bool outer_refused_;
};

// Sets error handlers, entity loader and defaults for parsing and output, and puts the old ones
// back. Within it nothing is printed and nothing loaded.
class xml_scope {
  public:
    xml_scope() noexcept;
    ~xml_scope();
    xml_scope(const xml_scope &) = delete;
    xml_scope &operator=(const xml_scope &) = delete;
    [[nodiscard]] bool refused() const noexcept { return gate.refused; }

  private:
    tree_scope tree_;
    xmlStructuredErrorFunc structured_error_;
    void *structured_error_context_;
    xmlGenericErrorFunc generic_error_;
    void *generic_error_context_;
    [[maybe_unused]] xmlExternalEntityLoader loader_;
    const char *indent_string_;
    int defaults_[8];
    bool changed_; // the defaults were others
};

// A fresh parser context that loads nothing from anywhere; the caller frees it with
// xmlFreeParserCtxt. Throws when memory runs out.
[[nodiscard]] xmlParserCtxtPtr get_new_parser_ctxt();

// A context for parses that all have the same options: the one that the session keeps for them, or
// a fresh one. The caller gives it back, or frees it as above when it has seen more than a parse
// that ended well. Throws when memory runs out.
[[nodiscard]] xmlParserCtxtPtr borrow_parser_ctxt();
void give_parser_ctxt_back(xmlParserCtxtPtr context) noexcept;

// Why the last parse of the session gave no document, or what a validating parse complained of.
struct parse_diagnostics {
    char first_error[512]; // libxml2's words for the first error, one line, "" when there is none
    int line;              // of the first error; 0 when unknown
    int column;
    char first_validity[512]; // the same for the first validity error
    int validity_line;
    int validity_column;
    std::uint32_t validity_errors; // how many in all
    bool has_doctype;              // the document has a document type declaration
    const char *limit;             // the setting whose limit ended the parse, null when none did
    std::int64_t work;             // steps charged for (src/libxml/xml_work.hpp)
};

// Someone who is shown elements of a document while it is parsed, each when it has ended and
// nothing behind it was read. They are dropped afterwards: the document that the parse gives has
// neither them nor any text that stands beside them or above. Documents with a document type are
// not shown, and are whole: what entities give is put into the tree in other ways.
struct element_watch {
    void *state;
    // Whether an element that has just begun is to be shown. It knows its attributes and what is
    // above it.
    bool (*wants)(void *state, xmlNodePtr element) noexcept;
    // Shows it. False when the parse is of no use any more: it ends without a document.
    bool (*show)(void *state, xmlNodePtr element) noexcept;
    // The parse begins anew: what was shown does not count.
    void (*start_over)(void *state) noexcept;
    int depth;            // of the elements that are shown, from 2: that of the document's is 1
    bool stopped = false; // the last answer was to stop
};

// Parses `length` bytes of UTF-8 text. `document_mode` is true for documents made from text, false
// for parser objects; it changes nothing here. `context` must be fresh, or borrowed: options and
// handlers of an earlier parse would stick. Returns the document, null when the text is not
// well-formed or a limit ended the parse; `diagnostics` says why. A cancelled statement ends it
// too, as does a lack of memory: then it throws, and nothing is left behind but the context, which
// is the caller's. The declared encoding stands in the document's `encoding`, though the text is
// read as UTF-8. `watch` may be null.
[[nodiscard]] xmlDocPtr xml_parse_doc(xmlParserCtxtPtr context, const char *text,
                                      std::size_t length, int options, bool document_mode,
                                      parse_diagnostics &diagnostics,
                                      element_watch *watch = nullptr);

// Frees a document, of any size; null is passed over. When the statement is asked to stop
// meanwhile, the rest is freed later: by the session's next parse or its next call of this.
void free_document(xmlDocPtr document) noexcept;
// Frees a node that stands nowhere, with all below it. False when the statement was asked to stop
// before it was done: then the node is still there, with part of what was below it.
[[nodiscard]] bool free_tree(xmlNodePtr top) noexcept;

// While one lives, freeing takes a bounded time. From so much on that the session holds, free_tree
// and free_document free a number of nodes in all, and the rest goes later, as above. For the end
// of a transaction, which nobody can cancel. Not to be nested.
class brief_release {
  public:
    brief_release() noexcept;
    ~brief_release();
    brief_release(const brief_release &) = delete;
    brief_release &operator=(const brief_release &) = delete;
};
// Whether there is time to free so many handles, which count like nodes. True when none lives.
[[nodiscard]] bool may_free_handles(std::uint32_t count) noexcept;

// Frees what was to go later. Throws when the statement is asked to stop meanwhile: the rest of it
// stays.
void release_abandoned();
// Whether there is anything of the kind.
[[nodiscard]] bool has_abandoned() noexcept;

// Makes such a node the first child of its document, which is about to be freed.
void hang_on_document(xmlNodePtr top) noexcept;

// Frees what a cancelled parse has left behind because it would have taken too long, and the parser
// context that is kept; for the end of a session. Otherwise the next parse frees what was left.
void forget_abandoned() noexcept;

} // namespace host
