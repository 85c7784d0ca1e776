/* What the made-up house does; its tests notice most of it. */
#pragma once

int         at_most(int value, int limit);
int         rounds(int count);
int         doors(int floor);
const char *greeting();
int         attic(int below);
int         cellar();
int         remove_own_folder();
