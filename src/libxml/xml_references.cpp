// What IDREF and IDREFS attributes refer to, checked at the end of a document.
//
// libxml2 does it for the whole document in one call, which makes an error of each reference that
// leads nowhere and cannot be stopped. Here it is given a few references at a time.
#include "libxml/xml_work.hpp"

#include <libxml/hash.h>
#include <libxml/list.h>
#include <libxml/valid.h>

// The state of the parser is not for everyone in later versions, but there is no other way to it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

// References between two looks at whether the parse is to stop.
constexpr int k_portion = 1000;

// A walk through the references of a document.
struct reference_walk {
    parse_run &run;
    xmlParserCtxtPtr context;
    xmlHashTablePtr portion; // lists by the name that is referred to, as libxml2 keeps them
    const xmlChar *name;     // whose list is being walked
    xmlListPtr list;         // its part of the portion; null: none yet
    int count;               // in the portion
    bool starved;
};

void free_list(void *list, const xmlChar * /*name*/) noexcept {
    xmlListDelete(static_cast<xmlListPtr>(list));
}

int never_equal(const void * /*left*/, const void * /*right*/) noexcept { return 1; }

// Lets libxml2 check the portion, and begins another.
void check_portion(reference_walk &walk) noexcept {
    xmlDocPtr const document = walk.context->myDoc;
    void *const all = document->refs;
    document->refs = walk.portion;
    walk.context->valid &= xmlValidateDocumentFinal(&walk.context->vctxt, document);
    document->refs = all;
    xmlHashFree(walk.portion, free_list);
    walk.portion = xmlHashCreate(k_portion);
    walk.list = nullptr;
    walk.count = 0;
    work(walk.run, walk.context, 0); // the errors were counted
}

int take_reference(const void *reference, void *data) noexcept {
    auto &walk = *static_cast<reference_walk *>(data);
    if (walk.starved || must_stop(walk.run, walk.context)) {
        return 0;
    }
    if (walk.list == nullptr) {
        walk.list = xmlListCreate(nullptr, never_equal);
        if (walk.list == nullptr || xmlHashAddEntry(walk.portion, walk.name, walk.list) != 0) {
            xmlListDelete(walk.list);
            walk.list = nullptr;
            walk.starved = true; // the gate knows
            return 0;
        }
    }
    walk.starved = xmlListPushBack(walk.list, const_cast<void *>(reference)) != 1;
    if (++walk.count == k_portion) {
        check_portion(walk);
    }
    return 1;
}

void take_references(void *list, void *data, const xmlChar *name) noexcept {
    auto &walk = *static_cast<reference_walk *>(data);
    walk.name = name;
    walk.list = nullptr;
    if (!walk.run.stopped) {
        xmlListWalk(static_cast<xmlListPtr>(list), take_reference, &walk);
    }
}

} // namespace

void check_references(parse_run &run, xmlParserCtxtPtr context) noexcept {
    xmlDocPtr const document = context->myDoc;
    if (context->validate == 0 || context->wellFormed == 0 || document == nullptr ||
        document->refs == nullptr) {
        return;
    }
    reference_walk walk{run, context, xmlHashCreate(k_portion), nullptr, nullptr, 0, false};
    xmlHashScan(static_cast<xmlHashTablePtr>(document->refs), take_references, &walk);
    if (!run.stopped && walk.count != 0) {
        check_portion(walk);
    }
    xmlHashFree(walk.portion, free_list);
}

} // namespace host
