/* Knows where the variables lie, by outliving_state.h or outliving_state.ld, and nothing of what they are. None of them
 * owns memory. */
#include "fuzz/afresh.h"

#include <vector>

extern "C" {
extern char __start_migr_outliving_bss[], __stop_migr_outliving_bss[];
extern char __start_migr_outliving_data[], __stop_migr_outliving_data[];
}

namespace fuzzing {

namespace {

/* What lies between two variables is not to be touched otherwise. */
[[gnu::noinline]] __attribute__((no_sanitize("address", "coverage"))) void
copy(volatile char *target, const volatile char *source, size_t size)
{
    for (size_t at = 0; at < size; at++)
        target[at] = source[at];
}

class Area {
  public:
    Area(char *begin, const char *end) : begin_(begin), first_(static_cast<size_t>(end - begin))
    {
        copy(first_.data(), begin_, first_.size());
    }

    void put_back() const
    {
        copy(begin_, first_.data(), first_.size());
    }

  private:
    char             *begin_;
    std::vector<char> first_;
};

} // namespace

std::string afresh(const std::function<std::string()> &work)
{
    static const Area areas[] = {{__start_migr_outliving_bss, __stop_migr_outliving_bss},
                                 {__start_migr_outliving_data, __stop_migr_outliving_data}};
    for (const Area &area : areas)
        area.put_back();
    return work();
}

} // namespace fuzzing
