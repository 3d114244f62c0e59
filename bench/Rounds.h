// Measures several contestants in turn, round by round, so that whatever else the machine does meets all of
// them alike.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Summary {
  double median = 0;
  double lowest = 0;
  double highest = 0;
};

inline Summary Summarise(std::vector<double> values) {
  if (values.empty()) return {};
  std::sort(values.begin(), values.end());
  return {values[values.size() / 2], values.front(), values.back()};
}

// Microseconds that `work` took.
template <class Work>
double Microseconds(Work&& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count();
}

struct Contestant {
  std::string name;
  std::function<double()> measure;  // one round; returns microseconds
};

// Runs `rounds` rounds after one that does not count; prints a line for each contestant and returns their
// summaries.
inline std::vector<Summary> Run(const std::vector<Contestant>& contestants, int rounds) {
  std::vector<std::vector<double>> values(contestants.size());
  for (int round = -1; round < rounds; ++round) {
    for (std::size_t i = 0; i < contestants.size(); ++i) {
      const double value = contestants[i].measure();
      if (round >= 0) values[i].push_back(value);
    }
  }
  std::vector<Summary> summaries;
  for (std::size_t i = 0; i < contestants.size(); ++i) {
    summaries.push_back(Summarise(std::move(values[i])));
    const Summary& s = summaries.back();
    std::printf("  %-34s %10.2f us   (%.2f to %.2f)\n", contestants[i].name.c_str(), s.median, s.lowest,
                s.highest);
  }
  return summaries;
}

}  // namespace bench
