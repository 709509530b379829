// Every report that the library can make, as one row each, and the function that makes them.
//
// The texts are fixed: programs compare them. A row is written here, or, for an area that stands by
// itself, in include/<area>_reports.hpp, and nowhere else.
#pragma once

#include "host/error.hpp"

#include <initializer_list>
#include <string_view>

namespace pkg_dbe_xml {

// The number under which the host knows this library.
inline constexpr int k_module_id = 18;

struct report_row {
    int id;               // 0 where the host is given no number
    const char *sqlstate; // five characters; null: from the operating-system error in errno
    const char *message;  // %s and %d are filled in order
    const char *cause;
    const char *action; // null: the host's own advice for internal failures
    const char *hint;   // null: none; %s and %d are filled in order
    bool with_module;   // carries k_module_id
};

// Makes the report of `row` at error level; throws. `arguments` fill the message,
// `hint_arguments` the hint, `context` adds a line of CONTEXT where it is not empty.
[[noreturn]] void report(const report_row &row,
                         std::initializer_list<std::string_view> arguments = {},
                         std::initializer_list<std::string_view> hint_arguments = {},
                         std::string_view context = {}, const char *file = __builtin_FILE(),
                         int line = __builtin_LINE(), const char *function = __builtin_FUNCTION());

// The row of the report made last, null when that had a context of its own or when this was asked
// since.
[[nodiscard]] const report_row *take_last_row() noexcept;

// The internal assertion: reports `step` (for example "SET_VARSIZE_4B PTR is null.") and ends the
// session.
[[noreturn]] void fail_assertion(std::string_view step, const char *file = __builtin_FILE(),
                                 int line = __builtin_LINE(),
                                 const char *function = __builtin_FUNCTION());
// Returns `pointer`, which must not be null.
template <class Pointer>
[[nodiscard]] inline Pointer
asserted(Pointer pointer, std::string_view step, const char *file = __builtin_FILE(),
         int line = __builtin_LINE(), const char *function = __builtin_FUNCTION()) {
    if (pointer == nullptr) [[unlikely]] {
        fail_assertion(step, file, line, function);
    }
    return pointer;
}

inline constexpr std::string_view k_no_result_room = "SET_VARSIZE_4B PTR is null.";
inline constexpr std::string_view k_no_short_value = "VARATT_IS_1B PTR is null.";
inline constexpr std::string_view k_no_large_value = "VARATT_IS_HUGE_TOAST_POINTER PTR is null.";
inline constexpr std::string_view k_no_slice = "VARATT_IS_1B_E PTR is null.";

// clang-format off
namespace reports {

// --- handles and the registry ---
inline constexpr report_row null_handle{79375, "22023", "invalid PL/SQL DOM handle",
    "The input dom handle is invalid.", "Check the input dom handle.", nullptr, true};
inline constexpr report_row handle_not_found{0, "2200U", "not find xmldom in hash",
    "XML dom is not found in hash.", "Check the input key.", nullptr, false};
inline constexpr report_row handle_exists{0, "2200V", "xmldom insert to hash failed",
    "Entry is already in hash.", "Check the input entry.", nullptr, false};
inline constexpr report_row invalid_document_id{0, "22023", "invalid dom handler",
    "Dom handler is invalid.", "Check the dom handler.", nullptr, true};
inline constexpr report_row null_entry{0, "2200U", "entry is NULL",
    "The input argument is NULL.", "Check the input argument.", nullptr, false};
inline constexpr report_row dom_keys_not_found{0, "2200U", "not find dom keys in hash",
    "XML dom keys are not found in hash.", "Make sure the dom keys are in hash.", nullptr, false};
inline constexpr report_row node_gone{79361, "2200U",
    "DOM handle accesses node that is no longer available",
    "XML dom is not found in hash.", "Check the XML dom.", nullptr, true};
inline constexpr report_row not_a_document{79363, "XX004",
    "DOM Type mismatch in invalid PL/SQL DOM handle",
    "Dom type is invalid.", "Check dom type.", nullptr, true};
inline constexpr report_row inconsistent_types{79370, "22023", "Inconsistent parameter types",
    "The input node type is invalid.", "Check the input node type.", nullptr, true};
inline constexpr report_row unsupported_kind{79396, "22023", "The type is not supported.",
    "The node type is unsupported.", "Check the input node type.", nullptr, true};
inline constexpr report_row kind_mismatch{79395, "22023", "The parameter type does not match.",
    "The node type is unsupported.", "Check the input node type.", nullptr, true};
inline constexpr report_row cannot_convert{79379, "XX004",
    "Node type %s cannot be converted to desired type.",
    "The input node type is invalid.", "Check the input node type.", nullptr, true};

inline constexpr report_row numbers_used_up{0, "54000", "the numbers for %s are used up",
    "Every number is handed out once.", "Go on with a new document, or in a new session.",
    nullptr, true};

// --- memory and sizes ---
inline constexpr report_row out_of_memory{79386, "53200", "out of memory",
    "Out of memory occurs.", nullptr, nullptr, true};
// Made in the place of the others that memory can run out with, when the session has reached its
// limit.
inline constexpr report_row session_memory_full{0, "53400",
    "the limit of the setting pkg_dbe_xml.max_session_memory was reached",
    "The trees, handles and parsers of this session take as much memory as they may.",
    "Free documents, nodes and lists that are no longer needed.", nullptr, true};
inline constexpr report_row no_memory_for_buffer{79397, "53200", "unable to allocate memory",
    "Something wrong when allocating memory.", nullptr, nullptr, true};
inline constexpr report_row piece_length_negative{26259, "22023",
    "argument %d is null, invalid, or out of range",
    "The second input parameter is invalid.",
    "Make sure the second input parameter is not less than 1.", nullptr, false};
inline constexpr report_row text_too_large{0, "22023", "out of XML string size maximum bound",
    "XML string size is out of range.", "Check the input lob size.", nullptr, true};
inline constexpr report_row literal_too_long{0, "22023", "string literal too long!",
    "The length of data text is out of range.", "Check the input data size.", nullptr, true};
inline constexpr report_row over_one_gigabyte{79373, "22023",
    "Invalid memory alloc request size more than 1G.",
    "Buffer size is out of range.", "Check the input buffer size.", nullptr, false};
inline constexpr report_row over_two_gigabytes{79374, "22023",
    "Invalid memory alloc request size more than 2G.",
    "Buffer size is out of range.", "Check the input buffer size.", nullptr, false};

// --- documents ---
inline constexpr report_row invalid_document{0, "2200M", "invalid XML document",
    "The XML document is invalid.", "Check the input parameter.", nullptr, true};
inline constexpr report_row null_column{0, "22023", "fetched column value is NULL",
    "The input parameter is NULL.", "Check the input parameter.", nullptr, true};
inline constexpr report_row encoding_name_too_long{79364, "53500", "encoding name too long",
    "The name of encoding exceeds the limit.", "Check the encoding name length.", nullptr, true};
inline constexpr report_row unsupported_character_set{79398, "22021", "unsupported character set",
    "Encoding character set is unsupported.",
    "Make sure encoding character set is supported.", nullptr, true};
inline constexpr report_row numeric_or_value_error{79384, "22003", "numeric or value error.",
    "The length of name and id exceeds limit.", "Check the length of name and id.", nullptr, true};

// --- making and changing nodes ---
inline constexpr report_row null_tag_name{0, "22023", "NULL or invalid TagName argument specified",
    "The tagname is empty.", "Check the tagname argument.", nullptr, true};
inline constexpr report_row null_attribute_name{0, "22023",
    "NULL or invalid AttributeName argument specified",
    "The first input parameter is invalid.", "Check the input parameter.", nullptr, true};
inline constexpr report_row not_allowed{79385, "22103", "operation not support!",
    "XML dom operation is not allowed.", "Check the input parameter.", nullptr, true};
inline constexpr report_row null_child{79359, "22105", "dom data handler not exist!",
    "XML dom data handler is not avaiable.", "Check the dom data handler.", nullptr, true};
inline constexpr report_row other_document{79362, "22102", "dom not belong the same document!",
    "Parent and child dom do not belong to the same document.", "Check the input doms.",
    nullptr, true};
inline constexpr report_row import_unsupported{79394, "22023", "The node type is not supported.",
    "The node type is unsupported.", "Check the node type.", nullptr, true};
inline constexpr report_row invalid_node_handle{79376, "22105", "Invalid PL/SQL DOM node handle.",
    "The input dom handle is invalid.", "Check the input dom handle.", nullptr, true};
inline constexpr report_row no_modification{79378, "22104", "No modification allowed",
    "XML dom is not allowed to be modified.", "Check the XML node type.", nullptr, true};

// --- lists, maps and element queries ---
inline constexpr report_row internal_function_failed{79355, "22023",
    "An exception occurs in the internal function.",
    "The input parameter is invalid.", "Check the input parameter.", nullptr, true};
inline constexpr report_row negative_index{0, "22023", "The index of the item cannot be negative.",
    "The index is negative.", "Make sure the index is non-negative.", nullptr, true};
inline constexpr report_row not_for_get_attribute_node{79399, "XX004",
    "wrong number or types of arguments in call to 'GETATTRIBUTENODE'",
    "Node type is invalid.", "Check the input node type.", nullptr, true};
inline constexpr report_row list_not_made{79522, "22023",
    "xmlAddRef: Reference list creation failed!",
    "The list of tagname is NULL.", "Make sure tagname list is not NULL.", nullptr, true};
inline constexpr report_row list_not_filled{79523, "22023",
    "xmlAddRef: Reference list insertion failed!",
    "Insert the node into tagname_list failed.", nullptr, nullptr, true};

// --- writing ---
inline constexpr report_row not_for_write_to_buffer{79400, "XX004",
    "wrong number or types of arguments in call to 'WRITETOBUFFER'",
    "Node type is invalid.", "Check the node type.", nullptr, true};
inline constexpr report_row not_for_write_to_clob{79520, "XX004",
    "wrong number or types of arguments in call to 'WRITETOCLOB'",
    "Node type is invalid.", "Check the node type.", nullptr, true};
inline constexpr report_row not_for_write_to_file{79521, "XX004",
    "wrong number or types of arguments in call to 'WRITETOFILE'",
    "Node type is invalid.", "Check the node type.", nullptr, true};
inline constexpr report_row null_argument{30001, "22004", "Arg cannot be null.",
    "The input argument is invalid.", "Check the input argument.",
    "%dth argument is NULL.", false};
inline constexpr report_row empty_path{79406, "22023", "invalid directory object",
    "The input path is invalid.", "Check the input parameter path.", nullptr, false};
inline constexpr report_row path_shape{79371, "22023", "invalid directory object",
    "The input path is invalid.", "Check the input parameter path.", nullptr, false};
inline constexpr report_row file_name_too_long{79369, "22023", "filename too long",
    "Length of the input filename exceeds limit.", "Check the input filename.", nullptr, true};
inline constexpr report_row file_name_extension{79368, "22023", "filename extension must be '.xml'",
    "The input filename extension is invalid.", "Check the input filename.", nullptr, true};
inline constexpr report_row directory_not_found{79358, "29P01",
    "directory name \"%s\" does not exists in table pg_directory",
    "Dirname does not exist in table pg_directory.", "Check the input dirname.", nullptr, false};
inline constexpr report_row directory_path_null{79356, "XX005",
    "directory \"%s\" has a null path",
    "The input directory is a null path.", "Check the input directory.", nullptr, false};
inline constexpr report_row directory_denied{79357, "42501",
    "Directory access denied, the %s permission on directory \"%s\" is required.",
    "The input directory does not get right permission.",
    "Check the input directory's permission.", nullptr, false};
inline constexpr report_row outside_safe_path{79525, "42501",
    "You must use the filename under %s.",
    "The file's privilege is insufficient.", "Check the privilege of the input file.",
    "Filename must be under the safe_data_path set by admin. ", false};
inline constexpr report_row protected_file_name{79391, "58P04",
    "The file name is invalid. Please change it.",
    "The input parameter is invalid.", "Check the input filename.", nullptr, false};
inline constexpr report_row character_set_too_long{79389, "53500", "the character set is too long.",
    "The length of encoding character set exceeds limit.",
    "Check the encoding character set size.", nullptr, true};
// Its SQLSTATE is that of the operating-system error in errno.
inline constexpr report_row file_not_opened{79390, nullptr,
    "The file cannot be opened or the file path does not exist: %s",
    "The file is invalid.", "Check the file specified.", nullptr, false};
inline constexpr report_row write_failed{79366, "58P04", "failed to write to the file",
    "Write to the file failed.", nullptr, nullptr, true};

// --- parser objects ---
inline constexpr report_row null_not_allowed{13042, "22004", "Null value not allowed.",
    "NULL value is not allowed.", "Please ensure the argument is not NULL.",
    "%dth argument is NULL.", false};
inline constexpr report_row parser_exists{79350, "2200W", "failed to insert xmlparser",
    "XML parser insert to hash failed.", nullptr, nullptr, false};
inline constexpr report_row parser_not_found{79351, "2200X", "not find xmlparser",
    "XML parser is not found in hash.", "Check the XML parser ans hash.", nullptr, false};
inline constexpr report_row too_many_parsers{79352, "2200Y", "total num of parser exceeds the limit",
    "The number of XML parser exceeds the limit.", "Check the number of XML parser.",
    nullptr, false};
inline constexpr report_row parser_text_too_large{79353, "22023",
    "out of XML string size maximum bound",
    "The number of XML parser exceeds the limit.", "Check the XML parser ans hash.",
    nullptr, false};
inline constexpr report_row buffer_too_large{79354, "22023", "out of buffer maximum bound",
    "Buffer size is out of range.", "Check the input parameters.", nullptr, false};

// --- arguments of the packages ---
inline constexpr report_row null_package_argument{0, "22004", "argument %s of %s must not be null",
    "A function that changes or writes something is told of what.",
    "Look for the call that gave the null: functions that read give null where there is nothing.",
    nullptr, true};
inline constexpr report_row null_member{0, "22004", "a node of the list must not be null",
    "A function that changes something is told of what.",
    "Leave the nulls out.", nullptr, true};
inline constexpr report_row unknown_handle{0, "2200U", "this is no handle of this session",
    "The document was freed, the handle comes from another session, or the value never was one.",
    "Fetch the node from a document that is open; xmldom.parse makes a document of a text.",
    nullptr, true};
inline constexpr report_row not_a_handle{0, "22P02", "\"%s%s\" is no handle",
    "A handle is written as \\x and 26 hexadecimal digits.",
    "To open the text of a document, call xmldom.parse; to put a text into a tree, make a node of "
    "it with xmldom.create_text_node.", nullptr, true};
inline constexpr report_row stale_handle{0, "2200U", "this handle names nothing any more",
    "It was given up with a free function, or its document was freed.",
    "Fetch the node again from a document that is open.", nullptr, true};

// --- the DOM's exceptions ---
// SQLSTATE XD and the number that the DOM gives to the exception.
inline constexpr report_row index_size{0, "XD001",
    "offset %s lies beyond the end of %s, which has %s characters",
    "The DOM calls this an IndexSizeError.",
    "Offsets are counted in characters, from 0 to the length.", nullptr, true};
inline constexpr report_row child_not_allowed{0, "XD003", "%s cannot stand directly in %s",
    "The DOM calls this a HierarchyRequestError.",
    "Put it into an element.", nullptr, true};
inline constexpr report_row no_children_allowed{0, "XD003", "%s holds no children",
    "The DOM calls this a HierarchyRequestError.",
    "Put them into an element, beside it.", nullptr, true};
inline constexpr report_row attribute_as_child{0, "XD003", "%s is nobody's child",
    "The DOM calls this a HierarchyRequestError.",
    "Put it on an element with xmldom.set_attribute_node.", nullptr, true};
inline constexpr report_row second_root{0, "XD003",
    "a document has one root element, and %s would be a second one",
    "The DOM calls this a HierarchyRequestError.",
    "Put it into the root element, or in its place with xmldom.replace_child.", nullptr, true};
inline constexpr report_row root_before_doctype{0, "XD003",
    "%s cannot stand in front of the document type",
    "The DOM calls this a HierarchyRequestError.",
    "Append it: the root element stands behind the document type.", nullptr, true};
inline constexpr report_row no_parent{0, "XD003", "%s stands below no parent",
    "The DOM calls this a HierarchyRequestError.",
    "Put it into a tree first; attributes are taken off with xmldom.remove_attribute_node.",
    nullptr, true};
inline constexpr report_row child_contains_parent{0, "XD003", "%s cannot be put below itself",
    "The DOM calls this a HierarchyRequestError.",
    "Take out first what is to stay, or put a copy there: xmldom.clone_node.", nullptr, true};
inline constexpr report_row wrong_document{0, "XD004", "%s belongs to another document",
    "The DOM calls this a WrongDocumentError.",
    "Copy it with xmldom.import_node or move it with xmldom.adopt_node first.", nullptr, true};
inline constexpr report_row invalid_name{0, "XD005",
    "\"%s\" cannot be the name of %s (character %s: %s)",
    "The DOM calls this an InvalidCharacterError.",
    "A name begins with a letter or _ and goes on with letters, digits, '-', '_' and '.'.",
    nullptr, true};
inline constexpr report_row invalid_data{0, "XD005",
    "the text cannot stand in a %s (character %s: %s)",
    "The DOM calls this an InvalidCharacterError.",
    "What is written could not be read again. Change the text, or put it into a node that can hold it.",
    nullptr, true};
inline constexpr report_row no_modification_allowed{0, "XD007", "%s cannot be changed",
    "The DOM calls this a NoModificationAllowedError.",
    "Declarations and what stands in them are only read.", nullptr, true};
inline constexpr report_row no_value{0, "XD007", "%s has no value of its own",
    "The DOM calls this a NoModificationAllowedError.",
    "Set the text of an element with xmldom.set_text_content.", nullptr, true};
inline constexpr report_row not_found{0, "XD008", "%s is no child of %s",
    "The DOM calls this a NotFoundError.",
    "Pass a node whose parent is that node: xmldom.get_parent_node tells.", nullptr, true};
inline constexpr report_row attribute_exists{0, "XD003", "%s has another attribute %s",
    "An element has one attribute of a name.",
    "Remove the other one first.", nullptr, true};
inline constexpr report_row no_such_attribute{0, "XD008", "%s has no attribute %s",
    "The DOM calls this a NotFoundError.",
    "xmldom.has_attribute tells whether there is one.", nullptr, true};
inline constexpr report_row no_such_entity{0, "XD008",
    "the document type declares no entity \"%s\"",
    "The DOM calls this a NotFoundError.",
    "What is written could not be read again. Put in the text itself.", nullptr, true};
inline constexpr report_row unsupported_version{0, "XD009", "there is no XML version \"%s\"",
    "The DOM calls this a NotSupportedError.", "Versions are \"1.0\" and \"1.1\".", nullptr, true};
inline constexpr report_row not_to_be_copied{0, "XD009", "%s cannot be taken into another document",
    "The DOM calls this a NotSupportedError.",
    "Take its children; a document is copied whole with xmldom.clone_node.", nullptr, true};
inline constexpr report_row attribute_in_use{0, "XD010", "%s stands in another element already",
    "The DOM calls this an InUseAttributeError.",
    "Take it out there first, or put a copy here: xmldom.clone_node.", nullptr, true};
inline constexpr report_row namespace_error{0, "XD014",
    "\"%s\" does not go with the namespace \"%s\": %s",
    "The DOM calls this a NamespaceError.",
    "A prefix needs a namespace; xml and xmlns stand for their own only.", nullptr, true};
inline constexpr report_row undeclared_prefix{0, "XD014", "nothing declares the prefix of \"%s\" here",
    "The DOM calls this a NamespaceError.",
    "Give the namespace with the name: xmldom.create_element_ns, create_attribute_ns or "
    "set_attribute_ns.", nullptr, true};
inline constexpr report_row declaration_in_use{0, "XD014",
    "the declaration \"%s\" cannot be set or removed: %s",
    "The DOM calls this a NamespaceError.",
    "Rename what uses the prefix first (xmldom.rename_node), or declare another prefix.",
    nullptr, true};
inline constexpr report_row wrong_node_type{0, "XD024", "%s is wanted here, not %s",
    "The DOM calls this an InvalidNodeTypeError.",
    "Pass such a node; xmldom.get_node_type tells the type of one.", nullptr, true};

// --- texts of the packages ---
inline constexpr report_row unwritable_node{0, "2200N", "%s cannot be written as XML: %s",
    "It would not be read again as what it is.",
    "Change it or take it out first; functions in long names make such nodes, which check nothing.",
    nullptr, true};
inline constexpr report_row undecodable_text{0, "22021", "the bytes are no text in %s",
    "The encoding follows from the byte order mark or from the declaration, else it is UTF-8.",
    "Check where the bytes come from, or convert them and pass a text.", nullptr, true};
inline constexpr report_row unknown_option{0, "22023", "\"%s\" is none of the values of %s",
    "The argument takes one of a few words.", "Write 'keep' or 'drop'.", nullptr, true};

} // namespace reports
// clang-format on

inline constexpr int k_assertion_report_id = 90060;

} // namespace pkg_dbe_xml
