/* Where a child is to work: who makes it says so, and the child knows nothing else of the place. */
#pragma once

#include <functional>

namespace command {

struct Confinement {
    std::function<void()> enter; /* in the child: makes the place its whole world, or throws Failure */
    int lock; /* the descriptor that the child keeps, so that the place stays locked as long as it lives */
};

} // namespace command
