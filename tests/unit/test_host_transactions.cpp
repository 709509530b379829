// Transactions of the standalone host: numbers of subtransactions, and what is told of their ends.
#include "host/error.hpp"
#include "host/transaction.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "standalone_transactions.hpp"
#include "support/sql.hpp"

#include <vector>

namespace {

namespace standalone = host::standalone;

class host_transactions : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        told().clear();
    }
    static std::vector<host::subtransaction_number> &told() {
        static thread_local std::vector<host::subtransaction_number> numbers;
        return numbers;
    }
    static void note(host::subtransaction_number first) noexcept { told().push_back(first); }
    static void note_thousands(host::subtransaction_number first) noexcept {
        told().push_back(first * 1000);
    }
};

using numbers = std::vector<host::subtransaction_number>;

TEST_F(host_transactions, numbers_grow_and_nest) {
    const host::subtransaction_number outermost = host::current_subtransaction();
    EXPECT_GT(outermost, host::k_no_subtransaction);
    standalone::begin_subtransaction();
    const host::subtransaction_number first = host::current_subtransaction();
    EXPECT_GT(first, outermost);
    standalone::begin_subtransaction();
    const host::subtransaction_number inner = host::current_subtransaction();
    EXPECT_GT(inner, first);
    standalone::release_subtransaction();
    EXPECT_EQ(host::current_subtransaction(), first);
    standalone::roll_subtransaction_back();
    EXPECT_EQ(host::current_subtransaction(), outermost);
    standalone::begin_subtransaction();
    EXPECT_GT(host::current_subtransaction(), inner); // a number is used once in a transaction
    standalone::commit_transaction();
    EXPECT_EQ(host::current_subtransaction(), outermost);
    EXPECT_EQ(standalone::open_subtransactions(), 0U);
}

TEST_F(host_transactions, ends_are_told_in_the_order_in_which_they_come) {
    host::watch_transactions(note);
    host::watch_transactions(note_thousands);
    host::watch_transactions(note); // twice is once
    standalone::begin_subtransaction();
    standalone::release_subtransaction();
    EXPECT_EQ(told(), numbers{}); // what succeeds ends nothing
    standalone::commit_transaction();
    EXPECT_EQ(told(), (numbers{1, 1000}));
    told().clear();
    standalone::begin_subtransaction();
    standalone::begin_subtransaction();
    standalone::roll_transaction_back();
    EXPECT_EQ(told(), (numbers{3, 3000, 2, 2000, 1, 1000}));
}

host::datum commit_within(host::call & /*call*/) {
    standalone::begin_subtransaction();
    standalone::roll_subtransaction_back();
    standalone::commit_transaction();
    return 0;
}

TEST_F(host_transactions, nothing_is_told_while_a_call_is_in_progress) {
    host::watch_transactions(note);
    host::call_record record;
    host::invoke(&record, commit_within);
    EXPECT_FALSE(record.failed);
    EXPECT_EQ(told(), numbers{});
    standalone::commit_transaction();
    EXPECT_EQ(told(), numbers{1});
}

TEST_F(host_transactions, asking_can_fail_and_be_tried_again) {
    standalone::fail_call(standalone::service::allocation, 1);
    EXPECT_THROW(host::watch_transactions(note), host::raised);
    standalone::clear_faults();
    standalone::commit_transaction();
    EXPECT_EQ(told(), numbers{});
    host::watch_transactions(note);
    standalone::commit_transaction();
    EXPECT_EQ(told(), numbers{1});
}

TEST_F(host_transactions, a_session_forgets_who_asked_in_the_one_before) {
    host::watch_transactions(note);
    static_cast<void>(standalone::end_session());
    standalone::begin_session();
    standalone::commit_transaction();
    EXPECT_EQ(told(), numbers{});
}

} // namespace
