/* Memory that is refused, to whomever, and what is known of it afterwards. In processes of their own, since one that
 * was refused something ends its work. */
#include "system/refused_memory.h"

#include "support/places.h"
#include "unit/cli/command_support.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <unistd.h>

using namespace command;

namespace {

class RefusedMemory : public testing::Test {
  protected:
    void SetUp() override
    {
        if (support::is_sanitized())
            GTEST_SKIP() << "its own malloc stands there";
    }
};

/* What no machine has; as a compiler need not see. */
volatile size_t too_much = PTRDIFF_MAX;
volatile size_t nothing = 0;
volatile size_t a_little = 40;

/* Whether that leaves it behind that memory was refused. */
bool is_refused_by(void *(*ask)())
{
    support::Outcome outcome = support::run_process([&] {
        forget_refused_memory();
        free(ask());
        return memory_was_refused() ? 1 : 0;
    });
    EXPECT_EQ(outcome.signal, 0);
    return outcome.status == 1;
}

} // namespace

TEST_F(RefusedMemory, IsKnownWhoeverAsked)
{
    EXPECT_TRUE(is_refused_by([]() -> void * { return malloc(too_much); }));
    EXPECT_TRUE(is_refused_by([]() -> void * { return calloc(too_much, 2); }));
    EXPECT_TRUE(is_refused_by([]() -> void * { return calloc(1, too_much); }));
    EXPECT_TRUE(is_refused_by([]() -> void * { return realloc(nullptr, too_much); }));
    EXPECT_TRUE(is_refused_by([]() -> void * { return new (std::nothrow) char[too_much / 2]; }));
}

TEST_F(RefusedMemory, IsNotWhatIsGiven)
{
    EXPECT_FALSE(is_refused_by([]() -> void * { return malloc(a_little); }));
    EXPECT_FALSE(is_refused_by([]() -> void * { return calloc(a_little, a_little); }));
    EXPECT_FALSE(is_refused_by([]() -> void * { return realloc(malloc(a_little), 2 * a_little); }));
}

/* Who asks for nothing may get nothing. */
TEST_F(RefusedMemory, IsNotWhatNobodyAskedFor)
{
    EXPECT_FALSE(is_refused_by([]() -> void * { return realloc(malloc(a_little), nothing); }));
    auto is_refused_nothing = [](void *(*ask)()) {
        return support::run_process([&] {
                   support::use_up_memory();
                   forget_refused_memory();
                   void *volatile block = ask();
                   _exit(block ? 2 : memory_was_refused() ? 1 : 0);
                   return 3;
               })
            .status;
    };
    EXPECT_EQ(is_refused_nothing([]() -> void * { return malloc(nothing); }), 0);
    EXPECT_EQ(is_refused_nothing([]() -> void * { return calloc(nothing, a_little); }), 0);
    EXPECT_EQ(is_refused_nothing([]() -> void * { return calloc(a_little, nothing); }), 0);
    EXPECT_EQ(is_refused_nothing([]() -> void * { return calloc(1, 1); }), 1);
    EXPECT_EQ(is_refused_nothing([]() -> void * { return malloc(1); }), 1);
    EXPECT_EQ(is_refused_nothing([]() -> void * { return realloc(nullptr, 1); }), 1);
}

TEST_F(RefusedMemory, GivesWhatWasAskedFor)
{
    support::Outcome outcome = support::run_process([] {
        auto *bytes = static_cast<char *>(malloc(a_little));
        memset(bytes, 'x', a_little);
        bytes = static_cast<char *>(realloc(bytes, 100'000));
        EXPECT_EQ(std::string(bytes, a_little), std::string(a_little, 'x'));
        free(bytes);
        auto *clear = static_cast<char *>(calloc(a_little, 25));
        EXPECT_EQ(std::string(clear, a_little * 25), std::string(a_little * 25, '\0'));
        free(clear);
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(RefusedMemory, IsKeptUntilItIsForgotten)
{
    support::Outcome outcome = support::run_process([] {
        forget_refused_memory();
        EXPECT_EQ(with_likely_cause("It failed."), "It failed.");
        EXPECT_NO_THROW(require_no_refused_memory());
        support::be_refused_memory();
        free(malloc(a_little));
        EXPECT_TRUE(memory_was_refused());
        EXPECT_EQ(with_likely_cause("It failed."),
                  "It failed. Memory was refused (Cannot allocate memory), which is the likely cause.");
        EXPECT_THROW(require_no_refused_memory(), std::bad_alloc);
        forget_refused_memory();
        EXPECT_FALSE(memory_was_refused());
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(RefusedMemory, EndsAProcessThatWantsIt)
{
    support::Outcome outcome = support::run_process([] {
        end_when_refused_memory([] { _exit(memory_was_refused() ? 5 : 6); });
        free(malloc(a_little));
        support::be_refused_memory();
        return 7;
    });
    EXPECT_EQ(outcome.status, 5);
    outcome = support::run_process([] {
        end_when_refused_memory([] { _exit(5); });
        end_when_refused_memory(nullptr);
        support::be_refused_memory();
        return 7;
    });
    EXPECT_EQ(outcome.status, 7);
}
