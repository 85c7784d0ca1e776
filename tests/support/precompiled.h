/* What nearly every test includes, compiled once. Tests still include what they use: nothing may lean on this. */
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>
