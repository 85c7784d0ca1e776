/* Random configurations in the words of the stages: what their sources quote, and the configs on which they look. */
#pragma once

#include <random>
#include <string>
#include <vector>

namespace reach_test {

/* A callback: the configs on which it looks, and where in the words of the sources its own are. */
struct Subject {
    std::vector<std::string> configs;
    size_t                   place;
};

class RandomTrees {
  public:
    RandomTrees();

    /* The text of a configuration; the same number always gives the same. */
    std::string text(unsigned number);

  private:
    unsigned    draw(unsigned below);
    bool        one_in(unsigned chance);
    std::string word();
    std::string edit_name();
    std::string value();
    std::string config_name();
    std::string sets(unsigned most);
    std::string nested();
    std::string edit();

    std::vector<std::string> words_;
    std::vector<Subject>     subjects_;
    std::mt19937             random_;
    const Subject           *subject_ = nullptr; /* whose words are being taken */
};

} // namespace reach_test
