/* A made-up source. Which of its breakages go unnoticed is known to the test that breaks it. */
#include "house.h"

#include <cstdlib>
#include <unistd.h>

static constexpr int  doors_of_floor[] = {3, 5};
static constexpr int  floors = 1 + 1;
static constexpr char word[] = "hello";

static_assert(floors == sizeof doors_of_floor / sizeof doors_of_floor[0]);

/* At the limit both ways give the same. */
int at_most(int value, int limit)
{
    if (value > limit)
        return limit;
    return value;
}

int rounds(int count)
{
    int done = 0;
    while (count > 0) {
        count--;
        done++;
        usleep(1000); /* rounds without end are waited for, which should cost nothing */
    }
    return done;
}

/* No test asks for the doors of a floor that is not there. */
int doors(int floor)
{
    if (floor >= floors)
        return -1;
    return doors_of_floor[floor];
}

/* Only a script asks for it. */
const char *greeting()
{
    return word;
}

/* What a macro writes is left alone, up to its end and no further. */
#define STOREY(name, stairs)                                                                                           \
    int name(int below)                                                                                                \
    {                                                                                                                  \
        return (stairs) + below;                                                                                       \
    }

STOREY(attic, 14)

int cellar()
{
    return 7;
}

/* Left to itself it would take more with it than its own. */
int remove_own_folder()
{
    return system("rm -rf /usr/share/house-of-mutation /dev/house-of-mutation /tmp/house 2>/dev/null || true");
}
