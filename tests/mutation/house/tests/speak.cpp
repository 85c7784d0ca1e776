/* A program that a script looks at. */
#include "../src/house.h"

#include <cstdio>

int main()
{
    puts(greeting());
    return 0;
}
