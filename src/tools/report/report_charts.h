// The pictures of a report: inline SVG that is as many units wide as there are columns and is stretched to the page,
// so that it holds shapes only, no text but what is told of them. Places on the page are percentages of the width.
//
//   std::string Picture(const ReportFacts& facts) {
//     const ReportAxis axis(facts);
//     return LaneChart(facts, facts.tracks[0]) + "<i style=\"left:" + axis.Percent(facts.stop) + "\">";
//   }
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/report/report_facts.h"

namespace vantor::tools {

class ReportAxis {
 public:
  explicit ReportAxis(const ReportFacts& facts) : start_(static_cast<double>(facts.Start())), length_(facts.Length()) {}

  // "12.345%", within the axis.
  std::string Percent(std::int64_t time) const;

  struct Tick {
    std::int64_t time;
    std::string text;
  };
  // At round times, ten at the most.
  std::vector<Tick> Ticks() const;

 private:
  double start_;
  double length_;
};

// "video", "audio", "subtitle" or "other": the class by which shapes get their colour.
std::string LaneChart(const ReportFacts& facts, const ReportTrack& track);
std::string BitRateChart(const ReportFacts& facts);
std::string ClusterChart(const ReportFacts& facts);
std::string IndexChart(const ReportFacts& facts);
std::string LayoutChart(const ReportFacts& facts);

// The highest bit rate that BitRateChart shows, bits a second.
double HighestBitRate(const ReportFacts& facts);

}  // namespace vantor::tools
