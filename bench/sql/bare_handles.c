/*
 * The limit: what a PL/pgSQL program costs when its handles carry the bare node pointer, with no
 * registry, no checks and no protection of any kind. For benchmarks only: a wrong handle crashes
 * the server.
 *
 * The functions have the names and arguments of the library's, so that the same PL/pgSQL runs over
 * both. A handle is a 17-byte value like the library's; its first eight payload bytes are the
 * pointer.
 */
#include "postgres.h"

#include "fmgr.h"
#include "utils/builtins.h"
#if PG_VERSION_NUM >= 160000
#include "varatt.h"
#endif

#include <libxml/parser.h>
#include <libxml/tree.h>

PG_MODULE_MAGIC;

#define EXPORT __attribute__((visibility("default")))
#define LIMIT_FUNCTION(name)                                                                       \
    PG_FUNCTION_INFO_V1(name);                                                                     \
    EXPORT Datum name(PG_FUNCTION_ARGS)

typedef struct node_list {
    int size;
    xmlNodePtr members[FLEXIBLE_ARRAY_MEMBER];
} node_list;

static inline void *object_of(Datum handle) {
    struct varlena *value = PG_DETOAST_DATUM_PACKED(handle);
    void *object;

    memcpy(&object, VARDATA_ANY(value), sizeof object);
    return object;
}

static inline Datum handle_of(void *object) {
    bytea *value = palloc(17);

    SET_VARSIZE(value, 17);
    memset(VARDATA(value), 0, 13);
    memcpy(VARDATA(value), &object, sizeof object);
    return PointerGetDatum(value);
}

#define RETURN_NODE(fcinfo, node)                                                                  \
    do {                                                                                           \
        xmlNodePtr result_node = (node);                                                           \
        if (result_node == NULL)                                                                   \
            PG_RETURN_NULL();                                                                      \
        return handle_of(result_node);                                                             \
    } while (0)

static inline Datum text_of(const xmlChar *string) {
    return PointerGetDatum(cstring_to_text((const char *)string));
}

/* What any C function costs: one handle in, one handle out. */
LIMIT_FUNCTION(limit_nothing) { return handle_of(object_of(PG_GETARG_DATUM(0))); }

LIMIT_FUNCTION(limit_new_document_empty) { return handle_of(xmlNewDoc(BAD_CAST "1.0")); }

LIMIT_FUNCTION(limit_new_document_clob) {
    text *value = PG_GETARG_TEXT_PP(0);
    xmlDocPtr document =
        xmlReadMemory(VARDATA_ANY(value), VARSIZE_ANY_EXHDR(value), NULL, "UTF-8",
                      XML_PARSE_NOENT | XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_HUGE);

    if (document == NULL)
        elog(ERROR, "not well-formed");
    return handle_of(document);
}

LIMIT_FUNCTION(limit_free_document) {
    xmlFreeDoc(object_of(PG_GETARG_DATUM(0)));
    PG_RETURN_VOID();
}

LIMIT_FUNCTION(limit_free_node) { PG_RETURN_VOID(); }

LIMIT_FUNCTION(limit_get_document_element) {
    RETURN_NODE(fcinfo, xmlDocGetRootElement(object_of(PG_GETARG_DATUM(0))));
}

LIMIT_FUNCTION(limit_make_element) { return handle_of(object_of(PG_GETARG_DATUM(0))); }

LIMIT_FUNCTION(limit_get_first_child) {
    RETURN_NODE(fcinfo, ((xmlNodePtr)object_of(PG_GETARG_DATUM(0)))->children);
}

LIMIT_FUNCTION(limit_get_next_sibling) {
    RETURN_NODE(fcinfo, ((xmlNodePtr)object_of(PG_GETARG_DATUM(0)))->next);
}

LIMIT_FUNCTION(limit_get_parent_node) {
    RETURN_NODE(fcinfo, ((xmlNodePtr)object_of(PG_GETARG_DATUM(0)))->parent);
}

LIMIT_FUNCTION(limit_get_node_name) {
    xmlNodePtr node = object_of(PG_GETARG_DATUM(0));

    return text_of(node->type == XML_TEXT_NODE ? BAD_CAST "#text" : node->name);
}

LIMIT_FUNCTION(limit_get_node_value) {
    xmlNodePtr node = object_of(PG_GETARG_DATUM(0));

    if (node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE)
        PG_RETURN_NULL();
    return text_of(node->content);
}

LIMIT_FUNCTION(limit_get_attribute) {
    char *name = text_to_cstring(PG_GETARG_TEXT_PP(1));
    xmlChar *value = xmlGetProp(object_of(PG_GETARG_DATUM(0)), BAD_CAST name);
    Datum result;

    if (value == NULL)
        PG_RETURN_NULL();
    result = text_of(value);
    xmlFree(value);
    return result;
}

LIMIT_FUNCTION(limit_create_element) {
    char *name = text_to_cstring(PG_GETARG_TEXT_PP(1));

    return handle_of(
        xmlNewDocNode(object_of(PG_GETARG_DATUM(0)), NULL, BAD_CAST name, NULL));
}

LIMIT_FUNCTION(limit_create_text_node) {
    text *data = PG_GETARG_TEXT_PP(1);

    return handle_of(xmlNewDocTextLen(object_of(PG_GETARG_DATUM(0)),
                                      (const xmlChar *)VARDATA_ANY(data),
                                      VARSIZE_ANY_EXHDR(data)));
}

LIMIT_FUNCTION(limit_set_attribute) {
    char *name = text_to_cstring(PG_GETARG_TEXT_PP(1));
    char *value = text_to_cstring(PG_GETARG_TEXT_PP(2));

    xmlSetProp(object_of(PG_GETARG_DATUM(0)), BAD_CAST name, BAD_CAST value);
    PG_RETURN_VOID();
}

LIMIT_FUNCTION(limit_append_child) {
    return handle_of(
        xmlAddChild(object_of(PG_GETARG_DATUM(0)), object_of(PG_GETARG_DATUM(1))));
}

LIMIT_FUNCTION(limit_write_to_clob_doc) {
    xmlChar *dump = NULL;
    int size = 0;
    Datum result;

    xmlDocDumpFormatMemoryEnc(object_of(PG_GETARG_DATUM(0)), &dump, &size, "UTF-8", 1);
    result = PointerGetDatum(cstring_to_text_with_len((const char *)dump, size));
    xmlFree(dump);
    return result;
}

static void push(node_list **list, int *room, xmlNodePtr node) {
    if ((*list)->size == *room) {
        *room *= 2;
        *list = realloc(*list, offsetof(node_list, members) + *room * sizeof(xmlNodePtr));
    }
    (*list)->members[(*list)->size++] = node;
}

LIMIT_FUNCTION(limit_get_elements_by_tagname_document) {
    xmlNodePtr top = object_of(PG_GETARG_DATUM(0));
    char *name = text_to_cstring(PG_GETARG_TEXT_PP(1));
    xmlNodePtr node = top->children;
    int room = 64;
    node_list *list = malloc(offsetof(node_list, members) + room * sizeof(xmlNodePtr));

    list->size = 0;
    while (node != NULL) {
        if (node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, BAD_CAST name))
            push(&list, &room, node);
        if (node->children != NULL) {
            node = node->children;
            continue;
        }
        while (node != NULL && node != top && node->next == NULL)
            node = node->parent;
        node = node == NULL || node == top ? NULL : node->next;
    }
    return handle_of(list);
}

LIMIT_FUNCTION(limit_get_length) {
    PG_RETURN_INT32(((node_list *)object_of(PG_GETARG_DATUM(0)))->size);
}

LIMIT_FUNCTION(limit_item) {
    node_list *list = object_of(PG_GETARG_DATUM(0));
    int index = PG_GETARG_INT32(1);

    if (index >= list->size)
        PG_RETURN_NULL();
    return handle_of(list->members[index]);
}
