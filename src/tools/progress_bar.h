// ProgressBar: one line on a terminal that is drawn over as work goes on, and nothing at all elsewhere.
//
//   ProgressBar bar(stderr);
//   bar.Draw(position, duration);   // as often as one likes
//   bar.Clear();                    // before anything else is printed
//
// Colour is left out when the environment has NO_COLOR set to anything but nothing.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace vantor::tools {

class ProgressBar {
 public:
  explicit ProgressBar(std::FILE* stream);

  void Draw(std::int64_t position, std::int64_t duration);
  void Clear();

 private:
  void Show(const std::string& text);

  std::FILE* const stream_;
  const bool shown_;
  const bool coloured_;
  bool drawn_ = false;
};

// The bar's line in so many characters, for a position in 100 ns within a duration (0 when it is not known).
std::string ProgressLine(std::int64_t position, std::int64_t duration, int width, bool coloured);

}  // namespace vantor::tools
