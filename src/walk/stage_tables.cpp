/* What each release changes, from 5.50 on: its callbacks, on which configs they look, in how many rounds. */
#include "walk/stages.h"

stage_table *const all_stages[] = {nullptr};
