/* Authors each once, whatever they have in common. */
#include "explain/authors.h"

#include "driver/change.h"

#include <gtest/gtest.h>

using namespace command;

TEST(AuthorsByNumber, AreOthersInEachThingThatTellsThem)
{
    static constexpr char name[] = "_same", same_text[] = "_same";
    const migr_author     told[] = {{1, "stage", name, 0},
                                    {2, "stage", name, 0},
                                    {2, "modify", name, 0},
                                    {2, "modify", name, 7},
                                    {2, "modify", "_other", 7}};
    Authors               authors;
    for (uint32_t number = 0; number < std::size(told); number++)
        for (int again = 0; again < 2; again++)
            EXPECT_EQ(authors.number_of(told[number]), number);
    for (uint32_t number = std::size(told); number-- > 0;)
        EXPECT_EQ(authors.number_of(told[number]), number) << "in another order";
    EXPECT_EQ(authors.number_of({1, "stage", same_text, 0}), 0u) << "a name is its text";
    ASSERT_EQ(authors.list().size(), std::size(told));
    EXPECT_EQ(authors.list()[3], (Author{2, "modify", "_same", 7}));
    EXPECT_EQ(authors.take_list().size(), std::size(told));
}

/* Where it lies another name may lie later. */
TEST(AuthorsByNumber, GoByWhatANameSaysNow)
{
    char    name[] = "_one";
    Authors authors;
    EXPECT_EQ(authors.number_of({1, "stage", name, 0}), 0u);
    name[1] = 'x';
    EXPECT_EQ(authors.number_of({1, "stage", name, 0}), 1u);
}
