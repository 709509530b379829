// The machine that turns bytes into calls.
#include "support_program.hpp"

#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"

#include <array>
#include <string_view>

namespace fuzz {
namespace {

// The values below this one choose among the 65, the others among what the packages add.
constexpr std::uint8_t k_first_package_choice = 210;

constexpr std::array<std::string_view, 15> k_documents{
    "<a/>",
    "<a><b x='1'>t</b><b x='2'/>u<c/></a>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><r>caf\xC3\xA9</r>",
    "<!DOCTYPE r [<!ELEMENT r ANY><!ATTLIST r k CDATA 'd' i ID #IMPLIED><!ENTITY e 'text'>"
    "<!ENTITY f '<g>in</g>'><!NOTATION n SYSTEM 'n'>]><r i='x'>&e;&f;</r>",
    "<r xmlns='urn:one' xmlns:p='urn:two'><p:q p:a='1' a='2'/><q/></r>",
    "<r><!-- comment --><?target data?><![CDATA[<raw> & ]]>text</r>",
    "<a><b><c><d><e><f>deep</f></e></d></c></b></a>",
    "<!-- before --><r/><!-- after --><?end?>",
    "<r>\n  <a/>\n  <b/>\n</r>",
    "<r a='1' b='2' c='3' d='4' e='5' f=''/>",
    "<!DOCTYPE r SYSTEM 'nowhere.dtd'><r>&unknown;</r>",
    "<a><b></a>",
    "",
    "<!DOCTYPE r [<!ENTITY a 'x&b;'><!ENTITY b 'y'>]><r t='&a;'>&a;<s>&b;</s></r>",
    "<html xmlns='http://www.w3.org/1999/xhtml'><head><title>t</title></head><body><br/></body>"
    "</html>",
};
constexpr std::array<std::string_view, 16> k_names{
    "a",    "b",    "x",        "r",           "k", "i",       "p:q",
    "text", "*",    "xml:lang", "caf\xC3\xA9", "",  "comment", "long-name-of-an-element",
    "q",    "xmlns"};
constexpr std::array<std::string_view, 12> k_values{
    "",           "1",       "text",
    "a & b",      "AT&T; x", "&e;",
    "<tag>",      "  ",      "caf\xC3\xA9 \xE2\x82\xAC",
    "line\nline", "]]>",     "-- ?>"};
constexpr std::array<std::string_view, 6> k_uris{
    "urn:one", "urn:two", "", "*", "http://www.w3.org/XML/1998/namespace", "urn:new"};
constexpr std::array<std::string_view, 7> k_character_sets{
    "UTF-8", "ISO-8859-1", "UTF-16", "EUC-JP", "no-such-set", "", "ascii"};
constexpr std::array<std::string_view, 8> k_files{
    "out/f.xml", "none/f.xml", "out\\g.xml", "f.xml", "out/a/f.xml", "out/f.txt", "", "out/.xml"};

constexpr std::size_t k_ring_size = 48;
constexpr std::size_t k_most_calls = 4000;
constexpr int k_large_objects = 12; // numbers below this one are asked for

template <std::size_t size>
std::string pick(const std::array<std::string_view, size> &choices, std::uint8_t choice) {
    return std::string(choices.at(choice % size));
}

std::string sql_literal(std::string_view text) {
    std::string result = "'";
    for (const char character : text) {
        result += character;
        if (character == '\'') {
            result += character;
        }
    }
    return result + "'";
}

const handle_type *handle_type_of(char letter) {
    for (const handle_type &candidate : k_handle_types) {
        if (candidate.letter == letter) {
            return &candidate;
        }
    }
    return nullptr;
}

std::vector<std::uint8_t> raw_bytes(const sql::result &outcome) {
    const std::string bytes = outcome.text();
    return {bytes.begin(), bytes.end()};
}

// A function that gives back what it was given may give back what is no handle.
void keep(std::vector<sql::handle> &ring, const sql::result &outcome, std::uint8_t place) {
    if (raw_bytes(outcome).size() != sql::handle{}.bytes.size()) {
        return;
    }
    const sql::handle handle = outcome.handle();
    if (ring.size() < k_ring_size) {
        ring.push_back(handle);
    } else {
        ring[place % k_ring_size] = handle;
    }
}

} // namespace

program::program(std::span<const std::uint8_t> bytes, bool with_files)
    : bytes_(bytes), with_files_(with_files) {}

std::uint8_t program::byte() { return place_ < bytes_.size() ? bytes_[place_++] : 0; }

void program::add_null(program_call &call, const char *type) {
    call.arguments.emplace_back(sql::null);
    call.has_null = true;
    call.statement += std::string("null::") + type;
}

void program::add_text(program_call &call, const std::string &text, const char *type) {
    call.arguments.emplace_back(text);
    call.statement += sql_literal(text) + "::" + type;
}

// A handle of the ring; sometimes null, changed in one byte, or of another length.
void program::add_handle(program_call &call, const handle_type &type) {
    const std::uint8_t choice = byte();
    const std::vector<sql::handle> &kept = kept_in(type.from);
    sql::handle chosen = kept.empty() ? sql::handle{} : kept[choice % kept.size()];
    if (choice >= 252) {
        add_null(call, type.name);
        return;
    }
    if (choice == 251) {
        chosen.bytes.at(byte() % chosen.bytes.size()) ^= byte();
    }
    if (choice % 2 == 1) {
        chosen.header = sql::handle::header_form::short_form;
    }
    if (choice == 250) {
        const sql::raw wrong{std::vector<std::uint8_t>(byte() % 20U, byte())};
        call.statement += "'\\x" + hexadecimal(wrong.bytes) + "'::" + type.name;
        call.arguments.emplace_back(wrong);
        return;
    }
    call.statement += "'\\x" + hexadecimal(chosen.bytes) + "'::" + type.name;
    call.arguments.emplace_back(chosen);
}

// A text of bytes of the program itself, printable.
std::string program::made_text() {
    std::string text;
    for (std::uint8_t count = byte() % 24; count > 0; --count) {
        text += static_cast<char>(' ' + byte() % 95);
    }
    return text;
}

void program::add_argument(program_call &call, char type) {
    if (const handle_type *handles = handle_type_of(type)) {
        add_handle(call, *handles);
        return;
    }
    const std::uint8_t choice = byte();
    const bool is_null = choice >= 252;
    if (type == 'i') {
        const int number = static_cast<std::int8_t>(byte());
        if (is_null) {
            add_null(call, "int");
        } else {
            call.arguments.emplace_back(number);
            call.statement += "(" + std::to_string(number) + ")";
        }
        return;
    }
    if (type == 'o') {
        if (is_null) {
            add_null(call, "oid");
        } else {
            const int number = choice % k_large_objects; // 0: a new one
            call.arguments.emplace_back(number);
            call.statement += std::to_string(number) + "::oid";
        }
        return;
    }
    if (type == 'b') {
        if (is_null) {
            add_null(call, "boolean");
        } else {
            call.arguments.emplace_back(choice % 2 == 1);
            call.statement += choice % 2 == 1 ? "true" : "false";
        }
        return;
    }
    if (is_null) {
        add_null(call, type == 'm' ? "xml" : "text");
    } else if (type == 'x') {
        add_text(call, choice < 240 ? pick(k_documents, choice) : made_text(), "text");
    } else if (type == 'm') {
        // The server itself refuses an XML value that is not well-formed.
        add_text(call, pick(k_documents, choice % 10), "xml");
    } else if (type == 'n') {
        add_text(call, choice < 200 ? pick(k_names, choice) : made_text(), "text");
    } else if (type == 'u') {
        add_text(call, pick(k_uris, choice), "text");
    } else if (type == 'c') {
        add_text(call, pick(k_character_sets, choice), "text");
    } else if (type == 'f') {
        add_text(call, pick(k_files, choice), "text");
    } else if (choice == 251) {
        add_text(call, std::string(std::size_t{32760} + byte() % 16, 'v'), "text");
    } else {
        add_text(call, choice < 180 ? pick(k_values, choice) : made_text(), "text");
    }
}

// The function that the next byte chooses. A rare one is passed over most of the time.
const signature &program::choose() {
    const std::uint8_t choice = byte();
    if (choice < k_first_package_choice) {
        const std::span<const signature> own = own_functions(with_files_);
        return own[choice % own.size()];
    }
    const std::span<const signature> package = package_functions(with_files_);
    const signature &chosen =
        package[static_cast<std::size_t>(choice - k_first_package_choice) % package.size()];
    return chosen.rarity > 1 && byte() % chosen.rarity != 0 ? package[0] : chosen;
}

bool program::next(program_call &call) {
    if (place_ >= bytes_.size() || calls_ == k_most_calls) {
        return false;
    }
    ++calls_;
    call.function = &choose();
    call.arguments.clear();
    call.has_null = false;
    call.statement = call.function->name;
    for (const char *type = call.function->arguments; *type != '\0'; ++type) {
        if (type != call.function->arguments) {
            call.statement += ", ";
        }
        add_argument(call, *type);
    }
    call.statement += call.function->end;
    return true;
}

void program::note(const program_call &call, const sql::result &outcome) {
    if (outcome.failed() || outcome.is_null()) {
        return;
    }
    const auto place = static_cast<std::uint8_t>(calls_ * 7U);
    switch (call.function->result) {
    case 'h':
        keep(kept_in(ring::handles), outcome, place);
        break;
    case 'p':
        keep(kept_in(ring::parsers), outcome, place);
        break;
    case 's':
        keep(kept_in(ring::scopes), outcome, place);
        break;
    default:
        break;
    }
}

std::vector<program_call> program::closing_calls() {
    const std::vector<sql::handle> &scopes = kept_in(ring::scopes);
    const sql::handle scope = scopes.empty() ? sql::handle{} : scopes.front();
    std::vector<program_call> calls;
    for (const std::string_view name : {k_release, k_session, k_free_all, k_session}) {
        for (const signature &function : package_functions(true)) {
            if (function.name == name) {
                calls.push_back({&function, {}, false, function.name});
            }
        }
        if (name == k_release) {
            calls.back().arguments.emplace_back(scope);
            calls.back().statement += "'\\x" + hexadecimal(scope.bytes) + "'::xmldom.scope";
        }
        calls.back().statement += calls.back().function->end;
    }
    return calls;
}

sql::result make(const program_call &call) {
    const signature &function = *call.function;
    if (call.has_null && function.strict) {
        sql::result nothing;
        nothing.is_null_ = true;
        return nothing;
    }
    return function.set != nullptr ? function.set(call.arguments)
                                   : sql::call_with(function.entry, call.arguments);
}

std::string shown(const program_call &call, const sql::result &outcome) {
    if (outcome.failed()) {
        return "ERROR " + outcome.error().sqlstate + " " + outcome.error().message;
    }
    if (outcome.is_null()) {
        return "NULL";
    }
    switch (call.function->result) {
    case 'h':
    case 'p':
    case 's':
        return "\\x" + hexadecimal(raw_bytes(outcome));
    case 't':
        return outcome.text();
    case 'i':
        return std::to_string(outcome.integer());
    case 'b':
        return outcome.boolean() ? "true" : "false";
    default:
        return "";
    }
}

std::string run_program(std::span<const std::uint8_t> bytes, bool with_files,
                        std::size_t check_every) {
    const sql::node_watch watch;
    host::standalone::begin_session("UTF8");
    if (with_files) {
        host::standalone::create_directory_object("out", "/tmp");
        host::standalone::create_directory_object("none", "/nonexistent");
        host::standalone::files().protected_names = {"f.xml", ".xml"};
        host::standalone::make_numbered_object(k_documents[1]);
        host::standalone::make_numbered_object("no document");
    }
    program calls(bytes, with_files);
    program_call call{};
    std::string wrong;
    std::size_t count = 0;
    while (wrong.empty() && calls.next(call)) {
        const sql::result outcome = make(call);
        calls.note(call, outcome);
        ++count;
        if (check_every != 0 && count % check_every == 0) {
            wrong = sql::broken_invariants();
        }
        if (count % 256 == 0) {
            host::standalone::reset_caller_context();
        }
    }
    if (wrong.empty()) {
        wrong = sql::broken_invariants();
    }
    if (wrong.empty() && host::standalone::open_objects() != 0) {
        wrong = "a large object was left open";
    }
    const host::standalone::session_remains remains = host::standalone::end_session();
    if (wrong.empty() && !remains.nothing()) {
        wrong = "the session left " + std::to_string(remains.host_blocks) + " blocks and " +
                std::to_string(remains.libxml2_bytes) + " bytes of libxml2";
    }
    return wrong;
}

} // namespace fuzz
