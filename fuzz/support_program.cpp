// The machine that turns bytes into calls.
#include "support_program.hpp"

#include "host/limits.hpp"
#include "libxml/xml.hpp"
#include "registry/family_waste.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/arrays.hpp"
#include "support/invariants.hpp"
#include "support_reading_back.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace fuzz {
namespace {

namespace dbe = pkg_dbe_xml;

// The values below this one choose among the functions in long names, the others, together with a
// second byte, among what the packages add.
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

constexpr std::array<std::string_view, 32> k_paths{
    "//*",
    ".",
    "..",
    "/",
    "@*",
    "*[1]",
    "*[last()]",
    "//@*",
    "text()",
    "node()",
    "ancestor::node()",
    "following::node()",
    "preceding::*",
    "preceding-sibling::node()[1]",
    "string(.)",
    "count(//*)",
    "name()",
    "//*[@*]",
    "id('x')",
    "//a | //b",
    "descendant-or-self::node()/..",
    "//*[. = //text()]",
    "concat(name(), ':', count(@*), namespace-uri())",
    "normalize-space(/)",
    "//comment()",
    "//processing-instruction()",
    "namespace::*",
    "(//*)[2]/@*/..",
    "/*/*[position() > 1]",
    "//*[",
    "//*[unknown(1)]",
    "count(namespace::*) + 1"};

constexpr std::array<std::string_view, 10> k_record_paths{"//*", "/*/*", "//b",   "/r/*", "/*",
                                                          "//r", "//q",  "/a//c", "/r/",  "//p:q"};

// Functions that give a text, a number or a truth value change nothing. Other calls stand in for
// most of theirs.
constexpr std::size_t k_calls_to_a_reading_one = 4;
constexpr std::size_t k_ring_size = 16;
// What a function that takes any node is called with, and what any is now and then.
constexpr std::array k_rings_of_nodes{ring::nodes,     ring::nodes,     ring::elements,
                                      ring::elements,  ring::elements,  ring::attributes,
                                      ring::documents, ring::attributes};
constexpr std::array k_rings_of_handles{ring::nodes, ring::documents, ring::elements,
                                        ring::attributes, ring::lists};
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

// The newest is the last. A function that gives back what it was given may give back what is no
// handle.
void keep(std::vector<sql::handle> &ring, const sql::result &outcome) {
    if (raw_bytes(outcome).size() != sql::handle{}.bytes.size()) {
        return;
    }
    if (ring.size() == k_ring_size) {
        ring.erase(ring.begin());
    }
    ring.push_back(outcome.handle());
}

} // namespace

program::program(std::span<const std::uint8_t> bytes, bool with_files, bool with_statements)
    : bytes_(bytes), with_files_(with_files), with_statements_(with_statements),
      packages_only_(calls_packages_only(bytes)) {}

std::uint8_t program::byte() { return place_ < bytes_.size() ? bytes_[place_++] : 0; }

void program::add_null(program_call &call, const char *type) {
    call.arguments.emplace_back(sql::null);
    call.has_null = true;
    write(call, "null::", type);
}

void program::add_text(program_call &call, const std::string &text, const char *type) {
    call.arguments.emplace_back(text);
    if (with_statements_) {
        write(call, sql_literal(text), "::", type);
    }
}

void program::add_bytes(program_call &call, std::span<const std::uint8_t> bytes, const char *type) {
    if (with_statements_) {
        write(call, "'\\x", hexadecimal(bytes), "'::", type);
    }
}

// A handle of the kind that the function is for, mostly. The second of a call is mostly one of the
// first's document: what belongs to another document can hardly be combined with it.
sql::handle program::choose_handle(ring preferred, std::uint8_t kind) {
    const std::uint8_t choice = byte();
    ring which = preferred;
    if (preferred != ring::parsers && preferred != ring::scopes) {
        if (kind % 16 == 15) {
            which = k_rings_of_handles.at(kind / 16 % k_rings_of_handles.size());
        } else if (preferred == ring::nodes) {
            which = k_rings_of_nodes.at(kind / 2 % k_rings_of_nodes.size());
        }
    }
    if (kept_in(which).empty() && kept_in(ring::documents).size() > 0 &&
        preferred != ring::parsers) {
        which = ring::documents;
    }
    const std::vector<sql::handle> &kept = kept_in(which);
    if (kept.empty()) {
        return {};
    }
    const auto related = [this](const sql::handle &candidate) {
        return candidate.document_id() == used_.front().document_id();
    };
    const auto count = used_.empty() || choice % 4 == 0 ? 0 : std::ranges::count_if(kept, related);
    if (count == 0) {
        return kept[choice / 4 % kept.size()];
    }
    auto left = choice / 4 % count;
    return *std::ranges::find_if(
        kept, [&](const sql::handle &candidate) { return related(candidate) && left-- == 0; });
}

// Sometimes the handle is null, changed in one byte, or of another length.
void program::add_handle(program_call &call, const handle_type &type) {
    const std::uint8_t choice = byte();
    sql::handle chosen = choose_handle(type.from, choice);
    if (type.from != ring::parsers && type.from != ring::scopes) {
        used_.push_back(chosen);
    }
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
        add_bytes(call, wrong.bytes, type.name);
        call.arguments.emplace_back(wrong);
        return;
    }
    add_bytes(call, chosen.bytes, type.name);
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

// Up to three nodes. Of a null array nothing is taken.
void program::add_array(program_call &call) {
    const std::uint8_t choice = byte();
    if (choice >= 252) {
        call.arguments.emplace_back(sql::null);
        write(call, "variadic null::xmldom.node[]");
        return;
    }
    std::vector<sql::handle> members;
    for (unsigned count = choice % 4; count > 0; --count) {
        members.push_back(choose_handle(ring::nodes, byte()));
        write(call, members.size() == 1 ? "variadic array[" : ", ", "'\\x",
              with_statements_ ? hexadecimal(members.back().bytes) : "", "'::xmldom.node");
    }
    write(call, members.empty() ? "variadic array[]::xmldom.node[]" : "]");
    call.arguments.emplace_back(sql::array_of(members));
}

void program::add_argument(program_call &call, char type) {
    if (type == 'V') {
        add_array(call);
        return;
    }
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
            write(call, "(", std::to_string(number), ")");
        }
        return;
    }
    if (type == 'o') {
        if (is_null) {
            add_null(call, "oid");
        } else {
            const int number = choice % k_large_objects; // 0: a new one
            call.arguments.emplace_back(number);
            write(call, std::to_string(number), "::oid");
        }
        return;
    }
    if (type == 'b') {
        if (is_null) {
            add_null(call, "boolean");
        } else {
            call.arguments.emplace_back(choice % 2 == 1);
            write(call, choice % 2 == 1 ? "true" : "false");
        }
        return;
    }
    if (is_null) {
        add_null(call, type == 'm' ? "xml" : "text");
    } else {
        add_chosen_text(call, type, choice);
    }
}

void program::add_chosen_text(program_call &call, char type, std::uint8_t choice) {
    if (type == 'x') {
        add_text(call, choice < 240 ? pick(k_documents, choice) : made_text(), "text");
    } else if (type == 'm') {
        // The server itself refuses an XML value that is not well-formed.
        add_text(call, pick(k_documents, choice % 10), "xml");
    } else if (type == 'n') {
        // Few of them mostly, so that calls meet what others have made.
        add_text(call,
                 choice < 120   ? pick(k_names, choice % 3)
                 : choice < 220 ? pick(k_names, choice)
                                : made_text(),
                 "text");
    } else if (type == 'u') {
        add_text(call, pick(k_uris, choice), "text");
    } else if (type == 'q') {
        add_text(call, choice < 250 ? pick(k_paths, choice) : made_text(), "text");
    } else if (type == 'r') {
        add_text(call, choice < 250 ? pick(k_record_paths, choice) : made_text(), "text");
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
    if (packages_only_ && choice < k_first_package_choice) {
        const std::span<const signature> package = package_functions(with_files_);
        const signature &chosen =
            package[(choice + k_first_package_choice * (byte() % 2)) % package.size()];
        return kept_in(ring::documents).empty() || chosen.rarity > 1 ? document_maker() : chosen;
    }
    if (choice < k_first_package_choice) {
        const std::span<const signature> own = own_functions(with_files_);
        if (kept_in(ring::documents).empty() && choice % 8 != 0) {
            return document_maker(); // there is little to do without a document
        }
        const signature &chosen = own[choice % own.size()];
        if (std::string_view("tib").find(chosen.result) != std::string_view::npos &&
            calls_ % k_calls_to_a_reading_one != 0) {
            const std::span<const signature> changing = changing_functions();
            return changing[byte() % changing.size()];
        }
        return chosen.rarity > 1 && calls_ % chosen.rarity != 0 ? document_maker() : chosen;
    }
    const std::span<const signature> package = package_functions(with_files_);
    constexpr std::size_t k_package_choices = 256 - k_first_package_choice;
    const std::size_t place = choice - k_first_package_choice + k_package_choices * byte();
    const signature &chosen = package[place % package.size()];
    return chosen.rarity > 1 && byte() % chosen.rarity != 0 ? scope_maker() : chosen;
}

bool program::next(program_call &call) {
    if (place_ >= bytes_.size() || calls_ == k_most_calls) {
        return false;
    }
    ++calls_;
    call.function = &choose();
    call.arguments.clear();
    call.has_null = false;
    used_.clear();
    call.statement.clear();
    write(call, call.function->name);
    for (const char *type = call.function->arguments; *type != '\0'; ++type) {
        if (type != call.function->arguments) {
            write(call, ", ");
        }
        add_argument(call, *type);
    }
    write(call, call.function->end);
    return true;
}

// Handles that name nothing any more are mostly not used again.
void program::note(const program_call &call, const sql::result &outcome) {
    if (outcome.failed() && calls_ % 4 != 0 &&
        outcome.error().message == "not find xmldom in hash") {
        for (std::vector<sql::handle> &ring : kept_) {
            std::erase_if(ring, [this](const sql::handle &kept) {
                return std::ranges::any_of(used_, [&kept](const sql::handle &used) {
                    return used.document_id() == kept.document_id() &&
                           used.node_id() == kept.node_id();
                });
            });
        }
    }
    if (outcome.failed() || outcome.is_null()) {
        return;
    }
    if (const handle_type *given = handle_type_of(call.function->result)) {
        keep(kept_in(given->from), outcome);
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

bool calls_packages_only(std::span<const std::uint8_t> bytes) {
    return !bytes.empty() && bytes.back() >= 128;
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

std::size_t drawn_interval(std::span<const std::uint8_t> bytes) {
    return bytes.empty() ? 1 : bytes.back() % k_longest_interval + 1;
}

std::string shown(const program_call &call, const sql::result &outcome) {
    if (outcome.failed()) {
        return "ERROR " + outcome.error().sqlstate + " " + outcome.error().message;
    }
    if (outcome.is_null()) {
        return "NULL";
    }
    if (handle_type_of(call.function->result) != nullptr) {
        return "\\x" + hexadecimal(raw_bytes(outcome));
    }
    switch (call.function->result) {
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

namespace {

// For one program in eight the session may hold little memory, and one in two looks for what nobody
// needs whenever there may be any.
class drawn_settings {
  public:
    explicit drawn_settings(std::span<const std::uint8_t> bytes) noexcept {
        const std::size_t drawn = bytes.size() < 2 ? 0 : bytes[bytes.size() - 2];
        if (drawn % 8 == 1) {
            host::max_session_memory = static_cast<int>(4 + drawn / 8 * 4); // 4 to 128 kB
        }
        if (drawn % 2 == 1) {
            dbe::least_waste = 0;
        }
        host::count_handle_bytes(0);
    }
    ~drawn_settings() {
        host::max_session_memory = memory_;
        dbe::least_waste = waste_;
    }
    // What looks at the trees afterwards may take what it needs.
    void lift_memory_limit() const noexcept {
        host::max_session_memory = memory_;
        host::count_handle_bytes(0);
    }
    drawn_settings(const drawn_settings &) = delete;
    drawn_settings &operator=(const drawn_settings &) = delete;

  private:
    int memory_ = host::max_session_memory;
    std::size_t waste_ = dbe::least_waste;
};

} // namespace

played run_program(std::span<const std::uint8_t> bytes, bool with_files, std::size_t check_every) {
    const sql::node_watch watch;
    host::standalone::begin_session("UTF8");
    if (with_files) {
        host::standalone::create_directory_object("out", "/tmp");
        host::standalone::create_directory_object("none", "/nonexistent");
        host::standalone::files().protected_names = {"f.xml", ".xml"};
        host::standalone::make_numbered_object(k_documents[1]);
        host::standalone::make_numbered_object("no document");
    }
    const drawn_settings drawn(bytes);
    program calls(bytes, with_files, false);
    program_call call{};
    played all;
    std::string &wrong = all.wrong;
    while (wrong.empty() && calls.next(call)) {
        const sql::result outcome = make(call);
        calls.note(call, outcome);
        ++all.calls;
        if (check_every != 0 && all.calls % check_every == 0) {
            wrong = sql::broken_invariants();
            ++all.audits;
        }
        if (all.calls % 256 == 0) {
            host::standalone::reset_caller_context();
        }
    }
    if (wrong.empty()) {
        wrong = sql::broken_invariants();
        ++all.audits;
    }
    if (wrong.empty()) {
        drawn.lift_memory_limit();
        wrong = reading_back_fault(calls.documents(), calls_packages_only(bytes));
    }
    if (wrong.empty() && host::standalone::open_objects() != 0) {
        wrong = "a large object was left open";
    }
    const host::standalone::session_remains remains = host::standalone::end_session();
    if (wrong.empty() && !remains.nothing()) {
        wrong = "the session left " + std::to_string(remains.host_blocks) + " blocks and " +
                std::to_string(remains.libxml2_bytes) + " bytes of libxml2";
    }
    return all;
}

} // namespace fuzz
