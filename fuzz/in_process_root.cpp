/*
 * In the place of Root::run, which has its work done by a child, of which the fuzzer would see nothing: the work is
 * done here, in the fuzzers' own root folder. By --wrap, and so by its name in the object files.
 */
#include "appliance/root.h"
#include "fuzz/root_folder.h"
#include "system/failure.h"

#include <functional>

std::string run_in_process(const command::Root *, const std::function<std::string()> &work,
                           command::Interrupts *) asm("__wrap__ZNK7command4Root3runERKSt8functionIFNSt7__cxx1112basic_"
                                                      "stringIcSt11char_traitsIcESaIcEEEvEEPNS_10InterruptsE");

std::string run_in_process(const command::Root *root, const std::function<std::string()> &work, command::Interrupts *)
{
    fuzzing::Inside inside;
    try {
        return work();
    } catch (const command::PathError &error) {
        throw command::failure_of(error, root->shows(error.path));
    }
}
