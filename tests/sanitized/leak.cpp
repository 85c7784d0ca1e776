/* A program that loses what it asked for. It is no part of any other, and shows that sanitizers tell of what the
 * programs beside it would lose. */
#include <cstdlib>

int main()
{
    void *volatile kept = malloc(100);
    bool was_given = kept != nullptr;
    kept = nullptr;
    return was_given ? 0 : 1;
}
