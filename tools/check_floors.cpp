/* check_floors ROOT: prints each include of the project that runs the wrong way, and exits with 1 if there is one. */
#include "floors.h"

#include <exception>
#include <iostream>

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: check_floors ROOT\n";
        return 2;
    }
    try {
        std::vector<std::string> faults = tools::faults_of_includes(argv[1]);
        for (const std::string &fault : faults)
            std::cout << fault << "\n";
        return faults.empty() ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "check_floors: " << error.what() << "\n";
        return 2;
    }
}
