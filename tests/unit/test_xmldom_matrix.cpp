// Every function of the packages that changes, makes or writes something: with a node of every type
// for each of its handles, with handles that name nothing, with names, namespaces and data good and
// bad. Each cell has one outcome, which is written down here; a call that fails changes nothing.
#include "package_calls.hpp"
#include "package_outcomes.hpp"

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <set>

namespace {

using namespace package_calls;

// What a call came to, as a letter: k a handle or a text, n null, a letter for each SQLSTATE.
char letter_of(const sql::result &outcome) {
    if (!outcome.failed()) {
        return outcome.is_null() ? 'n' : 'k';
    }
    static const std::map<std::string, char> k_letters = {
        {"22004", '0'}, // null
        {"2200U", '?'}, // names nothing
        {"XD001", 'i'}, // beyond the end
        {"XD003", 'h'}, // cannot stand there
        {"XD004", 'w'}, // of another document
        {"XD005", 'c'}, // characters
        {"XD007", 'm'}, // never changes
        {"XD008", 'f'}, // not found
        {"XD009", 's'}, // not supported
        {"XD010", 'u'}, // in use
        {"XD014", 'x'}, // namespaces
        {"XD024", 't'}, // of another type
        {"22021", 'e'}, // no such encoding
        {"22023", 'v'}, // no such version of a form
        {"2200N", 'r'}, // would not be read again
    };
    const auto found = k_letters.find(outcome.error().sqlstate);
    return found == k_letters.end() ? '!' : found->second;
}

class package_matrix : public package_changing {
  protected:
    void TearDown() override {
        package_changing::TearDown();
        std::cout << "             " << cells_ << " cells, " << reports_ << " of them reports\n";
    }
    // One call in a session of its own. What fails changes nothing; what is left is sound, and the
    // document reads back as it is.
    template <class Change> char outcome_of(const changing_call &called, Change change) {
        char letter = '!';
        {
            const world w;
            std::vector<sql::value> arguments = called.good(w);
            change(w, arguments);
            const std::string before = w.state();
            const sql::result outcome = sql::call_with(called.entry, arguments);
            letter = letter_of(outcome);
            if (outcome.failed()) {
                EXPECT_EQ(w.state(), before) << called.name << ": " << outcome.error().message;
                EXPECT_FALSE(outcome.error().context.empty() && letter != 'r') << called.name;
                ++reports_;
            }
            if (xmlNodePtr const top = trees::node_of(w.nodes.document)) {
                EXPECT_TRUE(trees::reads_back(top)) << called.name;
            }
            EXPECT_TRUE(sql::check_invariants()) << called.name << ", " << letter;
            ++cells_;
        }
        restart_session();
        return letter;
    }
    // The outcomes of all values of an argument, and that they are those that are written down.
    template <class Values>
    void check(const changing_call &called, std::size_t argument, const Values &values) {
        std::string outcomes;
        for (int which = 0; which < values.count; ++which) {
            outcomes += outcome_of(called, [&](const world &w, std::vector<sql::value> &arguments) {
                arguments[argument] = values.of(w, which);
            });
        }
        const std::string key = called.name + std::string(" ") + std::to_string(argument);
        const auto expected =
            std::find_if(std::begin(k_outcomes), std::end(k_outcomes), [&](const outcome_row &row) {
                return row.call == key && row.seen == seen_.count(key);
            });
        EXPECT_TRUE(expected != std::end(k_outcomes) && expected->outcomes == outcomes)
            << "    {\"" << key << "\", " << seen_.count(key) << ", \"" << outcomes << "\"},";
        seen_.insert(key);
    }
    std::multiset<std::string> seen_;
    int cells_ = 0;
    int reports_ = 0;
};

// --- handles ------------------------------------------------------------------------------------

// The samples, then: a node of another document, a list, a map; a null, a handle that was given up,
// one that never was.
constexpr int k_handles = samples::k_count + 6;

std::optional<sql::handle> handle_value(const world &w, int which) {
    if (which < samples::k_count) {
        return w.of(which);
    }
    switch (which - samples::k_count) {
    case 0:
        return w.foreign_child();
    case 1:
        return w.list();
    case 2:
        return w.map();
    case 3:
        return std::nullopt;
    case 4: {
        const sql::handle given_up = trees::named(w.nodes.document, trees::node_of(w.of(k_text)));
        trees::release(given_up);
        return given_up;
    }
    default: {
        sql::handle forged = w.of(k_text);
        forged.bytes[4] = 0x7F;
        return forged;
    }
    }
}

struct handle_values {
    static constexpr int count = k_handles;
    static sql::value of(const world &w, int which) {
        const std::optional<sql::handle> handle = handle_value(w, which);
        return handle ? sql::value(*handle) : sql::value(sql::null);
    }
};
struct array_values {
    static constexpr int count = k_handles;
    static sql::value of(const world &w, int which) {
        const std::optional<sql::handle> member = handle_value(w, which);
        return member ? sql::value(sql::array_of({*member})) : sql::value(sql::null);
    }
};

TEST_F(package_matrix, a_node_of_every_type_for_every_handle) {
    for (const changing_call &called : k_calls) {
        const std::string letters = called.arguments;
        for (std::size_t argument = 0; argument < letters.size(); ++argument) {
            if (letters[argument] == 'h') {
                check(called, argument, handle_values());
            } else if (letters[argument] == 'a') {
                check(called, argument, array_values());
            }
        }
    }
}

// --- names, namespaces, data, numbers -----------------------------------------------------------

struct listed_values {
    std::vector<sql::value> values;
    int count = static_cast<int>(values.size());
    [[nodiscard]] sql::value of(const world &, int which) const {
        return values[static_cast<std::size_t>(which)];
    }
};

listed_values values_for(char letter) {
    switch (letter) {
    case 'n':
        return {{sql::null, "", "n", "q:n", "xml:n", "xmlns", "xmlns:n", "1n", "n m", "n:", "e",
                 "p:c", "a"}};
    case 'u':
        return {{sql::null, "", "urn:q", "urn:p", "http://www.w3.org/XML/1998/namespace",
                 "http://www.w3.org/2000/xmlns/", "\x01"}};
    case 'd':
        return {{sql::null, "", "x", "--", "x-", "?>", " x", "]]>", "\r", "\x01", "\"'"}};
    case 'i':
        return {{sql::null, -1, 0, 1, 4, 5, 2147483647}};
    case 'b':
        return {{sql::null, true, false}};
    case 'v':
        return {{sql::null, "", "1.0", "1.1", "1.2"}};
    case 'c':
        return {{sql::null, "", "UTF-8", "UTF-16", "HTML", "none", "1.0", "1.2"}};
    default:
        return {{}};
    }
}

TEST_F(package_matrix, values_good_and_bad) {
    for (const changing_call &called : k_calls) {
        const std::string letters = called.arguments;
        for (std::size_t argument = 0; argument < letters.size(); ++argument) {
            if (const listed_values values = values_for(letters[argument]); values.count != 0) {
                check(called, argument, values);
            }
        }
    }
}

} // namespace
