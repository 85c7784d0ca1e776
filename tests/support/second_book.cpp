/* Holds the tree against the book of changes at each section, in programs that ask for it. What it finds is a
 * failure of the test that runs. */
#include "support/second_book.h"

#include "driver/hooks.h"
#include "driver/run_context.h"
#include "ledger/second_book.h"

#include <gtest/gtest.h>

static bool        kept;
static const char *part = "";

static void report(const char *difference)
{
    ADD_FAILURE() << part << ": " << difference;
}

/* Weak, as it is declared: a program that has its own goes by that. */
void migr_on_section(int32_t, const char *phase)
{
    if (!kept)
        return;
    part = phase;
    support::check_second_book();
}

void support::keep_second_book()
{
    migr_book_open();
    migr_observe_changes(migr_book_note);
    kept = true;
}

void support::check_second_book()
{
    if (migr_identity_of(&migr_main.root) == 0)
        return; /* nothing has been read yet */
    EXPECT_EQ(migr_book_check(&migr_main.root, report), 0) << part;
    EXPECT_EQ(migr_book_is_incomplete(), 0);
}

void support::close_second_book()
{
    kept = false;
    migr_observe_changes(nullptr);
    migr_book_close();
}
