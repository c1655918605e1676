// The rows of the table.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lmimport::bench {

struct Contestant {
  std::string Name;
  std::function<double()> Run;  // gives the sum of what it read
};

struct Row {
  std::string What;
  std::function<double()> Ours;
  std::vector<Contestant> Others;         // the limit first, if there is one: its name is empty
  int Times = 1;                          // what one run does so many times
  std::function<void()> Prepare = [] {};  // before each run, and not measured
};

/// All contestants in turn, some rounds of it: the best time of each. Throws when one of them doesn't
/// read the same.
void Print(const Row& row);

/// Of the published reading: samples where they lie, other kinds of samples, packed ones.
void PrintPublished(const std::string& folder);

}  // namespace lmimport::bench
