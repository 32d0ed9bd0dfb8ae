#include "tools/report/report_charts.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <string_view>

#include "tools/report/html_text.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

constexpr double kTicksInSecond = 1e7;
constexpr int kLaneHeight = 24;
constexpr int kChartHeight = 100;
// Pieces of a picture that tell their figures under the mouse; fewer where there are many lanes.
constexpr std::size_t kMostPieces = 100;
constexpr std::size_t kLeastPieces = 10;
constexpr std::size_t kMostPiecesOfPage = 3000;
// So many marks lie side by side or upon each other, and are drawn fainter.
constexpr std::size_t kManyMarks = 300;
constexpr std::size_t kMostRates = 240;
constexpr std::array<const char*, 4> kLaneKinds = {"video", "audio", "subtitle", "other"};

using Path = fmt::memory_buffer;

template <typename... Values>
void Draw(Path& path, fmt::format_string<Values...> text, Values&&... values) {
  fmt::format_to(std::back_inserter(path), text, std::forward<Values>(values)...);
}

std::string PathOf(const char* classes, const Path& path) {
  if (path.size() == 0) return {};
  return fmt::format("<path class=\"{}\" d=\"{}\"/>", classes, fmt::to_string(path));
}

std::string Svg(const char* classes, std::size_t width, int height, const std::string& title,
                const std::string& description, const std::string& shapes) {
  return fmt::format(
      "<svg class=\"{}\" viewBox=\"0 0 {} {}\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"{}\">"
      "<desc>{}</desc>{}</svg>",
      classes, width, height, Html(title), Html(description), shapes);
}

std::size_t PieceCount(const ReportFacts& facts) {
  const std::size_t lanes = std::max<std::size_t>(facts.tracks.size(), 1);
  return std::min(std::clamp(kMostPiecesOfPage / lanes, kLeastPieces, kMostPieces), facts.scale.Count());
}

std::int64_t TimeOfColumn(const ReportFacts& facts, std::size_t column) {
  return (facts.scale.first + static_cast<std::int64_t>(column)) * (std::int64_t{1} << facts.scale.shift);
}

// The words for [begin, end) come from the callable.
template <typename Words>
std::string Pieces(const ReportFacts& facts, int height, Words&& words) {
  std::string pieces = "<g class=\"told\">";
  const std::size_t count = PieceCount(facts);
  const std::size_t columns = facts.scale.Count();
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t begin = columns * i / count;
    const std::size_t end = columns * (i + 1) / count;
    pieces += fmt::format("<rect x=\"{}\" width=\"{}\" height=\"{}\"><title>{} to {}: {}</title></rect>", begin,
                          end - begin, height, TimeText(TimeOfColumn(facts, begin)), TimeText(TimeOfColumn(facts, end)),
                          words(begin, end));
  }
  return pieces + "</g>";
}

template <typename Cell>
Cell Sum(const ReportFacts& facts, const ColumnLane<Cell>& lane, std::size_t begin, std::size_t end) {
  Cell sum;
  for (std::size_t column = begin; column < end; ++column) {
    const Cell* const cell = lane.Find(facts.scale.first + static_cast<std::int64_t>(column));
    if (cell != nullptr) sum.Add(*cell);
  }
  return sum;
}

enum class Shade { kNone, kDelivered, kPreroll, kLost };

Shade ShadeOf(const TrackCell& cell) {
  if (cell.lost > 0) return Shade::kLost;
  if (cell.preroll > 0) return Shade::kPreroll;
  return cell.packets > 0 || cell.isCovered ? Shade::kDelivered : Shade::kNone;
}

// A packet lasts until the next one, but for gaps.
std::vector<Shade> ShadesOf(const ReportFacts& facts, const ReportTrack& track) {
  const std::size_t columns = facts.scale.Count();
  const auto columnOf = [&](std::int64_t time) {
    return static_cast<std::size_t>(std::clamp<std::int64_t>((time >> facts.scale.shift) - facts.scale.first, 0,
                                                             static_cast<std::int64_t>(columns)));
  };
  std::vector<Shade> shades(columns, Shade::kNone);
  for (std::size_t i = 0; i < columns; ++i) {
    const TrackCell* const cell = track.cells.Find(facts.scale.first + static_cast<std::int64_t>(i));
    if (cell != nullptr) shades[i] = ShadeOf(*cell);
  }
  if (!track.IsContinuous() || track.packets == 0) return shades;
  std::vector<bool> isGap(columns, false);
  for (const auto& [begin, end] : track.gaps) {
    for (std::size_t i = columnOf(begin) + 1; i < columnOf(end); ++i) isGap[i] = true;
  }
  const std::size_t end = std::min(columnOf(track.lastEnd - 1) + 1, columns);
  for (std::size_t i = columnOf(track.firstStart) + 1; i < end; ++i) {
    if (shades[i] == Shade::kNone && !isGap[i]) shades[i] = shades[i - 1];
  }
  return shades;
}

std::string Bars(const std::vector<Shade>& shades, Shade shade, const char* classes) {
  Path path;
  for (std::size_t i = 0; i < shades.size(); ++i) {
    if (shades[i] != shade) continue;
    const std::size_t begin = i;
    while (i + 1 < shades.size() && shades[i + 1] == shade) ++i;
    Draw(path, "M{} 8h{}v14h-{}z", begin, i + 1 - begin, i + 1 - begin);
  }
  return PathOf(classes, path);
}

// Where every block is a key frame there is nothing to tell by them.
std::string KeyMarks(const ReportFacts& facts, const ReportTrack& track) {
  if (track.keys == track.blocks) return {};
  Path path;
  std::size_t count = 0;
  for (std::size_t i = 0; i < facts.scale.Count(); ++i) {
    const TrackCell* const cell = track.cells.Find(facts.scale.first + static_cast<std::int64_t>(i));
    if (cell == nullptr || cell->keys == 0) continue;
    Draw(path, "M{}.5 0v6", i);
    ++count;
  }
  return PathOf(count > kManyMarks ? "key dense" : "key", path);
}

std::string GapMarks(const ReportFacts& facts, const ReportTrack& track) {
  std::string marks;
  const double start = static_cast<double>(facts.Start());
  for (const auto& [begin, end] : track.gaps) {
    marks += fmt::format(
        "<rect class=\"gap\" x=\"{:.2f}\" y=\"8\" width=\"{:.2f}\" height=\"14\"><title>gap: {} to {}</title></rect>",
        (static_cast<double>(begin) - start) / facts.ColumnTime(),
        static_cast<double>(end - begin) / facts.ColumnTime(), TimeText(begin), TimeText(end));
  }
  return marks;
}

double Seconds(const ReportFacts& facts, std::size_t columns) {
  return facts.ColumnTime() * static_cast<double>(columns) / kTicksInSecond;
}

struct Rates {
  std::size_t columns = 1;  // of a rate
  std::vector<std::array<double, kLaneKinds.size()>> perKind;
};

// Of a second each at the least, where there is room: shorter ones would show single frames.
Rates RatesOf(const ReportFacts& facts) {
  const std::size_t columns = facts.scale.Count();
  const double wanted = std::clamp(Seconds(facts, columns), 20.0, static_cast<double>(kMostRates));
  Rates rates;
  rates.columns = static_cast<std::size_t>(std::ceil(static_cast<double>(columns) / wanted));
  for (std::size_t begin = 0; begin < columns; begin += rates.columns) {
    auto& sums = rates.perKind.emplace_back();
    for (const ReportTrack& track : facts.tracks) {
      const auto kind = std::find(kLaneKinds.begin(), kLaneKinds.end(), track.kind) - kLaneKinds.begin();
      const std::size_t end = std::min(begin + rates.columns, columns);
      const double bits = 8.0 * static_cast<double>(Sum(facts, track.cells, begin, end).bytes);
      sums[std::min<std::size_t>(static_cast<std::size_t>(kind), kLaneKinds.size() - 1)] +=
          bits / Seconds(facts, end - begin);
    }
  }
  return rates;
}

double HighestOf(const Rates& rates) {
  double highest = 0;
  for (const auto& sums : rates.perKind) {
    double sum = 0;
    for (const double rate : sums) sum += rate;
    highest = std::max(highest, sum);
  }
  return highest;
}

// As many digits of the fraction as the step has, and hours only where there are any.
std::string TickText(std::int64_t time, double step, double length) {
  std::string text = TimeText(time);
  const std::size_t point = text.find('.');
  const std::size_t digits = step >= 1 ? 0 : step >= 0.1 ? 2 : step >= 0.01 ? 3 : 4;  // with the point
  text.erase(std::min(point, text.size()) + digits);
  if (length < 3600 && text.starts_with("0:0")) {
    text.erase(0, 3);
  } else if (length < 3600 && text.starts_with("0:")) {
    text.erase(0, 2);
  }
  return text;
}

}  // namespace

std::string ReportAxis::Percent(std::int64_t time) const {
  const double place = length_ > 0 ? (static_cast<double>(time) - start_) / length_ : 0;
  return fmt::format("{:.3f}%", 100 * std::clamp(place, 0.0, 1.0));
}

std::vector<ReportAxis::Tick> ReportAxis::Ticks() const {
  constexpr double kMostTicks = 10;
  constexpr double kSteps[] = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2,  0.5,  1,    2,     5,     10,
                               15,    30,    60,    120,  300,  600,  900, 1800, 3600, 7200, 14400, 36000, 86400};
  const double seconds = length_ / kTicksInSecond;
  double step = kSteps[std::size(kSteps) - 1];
  for (const double candidate : kSteps) {
    if (seconds / candidate > kMostTicks) continue;
    step = candidate;
    break;
  }
  while (seconds / step > kMostTicks) step *= 10;
  std::vector<Tick> ticks;
  const double first = std::ceil(start_ / kTicksInSecond / step);
  for (double i = first; i * step * kTicksInSecond <= start_ + length_ && ticks.size() <= kMostTicks; ++i) {
    const auto time = static_cast<std::int64_t>(std::llround(i * step * kTicksInSecond));
    ticks.push_back({time, TickText(time, step, seconds)});
  }
  return ticks;
}

std::string LaneChart(const ReportFacts& facts, const ReportTrack& track) {
  const std::vector<Shade> shades = ShadesOf(facts, track);
  std::string shapes = Bars(shades, Shade::kDelivered, "bar") + Bars(shades, Shade::kPreroll, "bar preroll") +
                       Bars(shades, Shade::kLost, "bar lost") + KeyMarks(facts, track);
  shapes += Pieces(facts, kLaneHeight, [&](std::size_t begin, std::size_t end) {
    const TrackCell sum = Sum(facts, track.cells, begin, end);
    const double bits = 8.0 * static_cast<double>(sum.bytes) / Seconds(facts, end - begin);
    std::string words = fmt::format("{} packets, {} with a key flag, {:.1f} kb/s", sum.packets, sum.keys, bits / 1000);
    if (sum.preroll > 0) words += fmt::format(", {} preroll", sum.preroll);
    if (sum.lost > 0) words += fmt::format(", {} not delivered", sum.lost);
    return words;
  });
  shapes += GapMarks(facts, track);
  const std::string name = track.hasEntry ? fmt::format("Track {}", track.number) : "Blocks without a track";
  return Svg(fmt::format("lane {}", track.kind).c_str(), facts.scale.Count(), kLaneHeight, name + " over time",
             fmt::format("{} packets from {} to {}, {} not delivered, {} gaps", track.packets,
                         TimeText(track.firstStart), TimeText(track.lastEnd), track.lost, track.gapCount),
             shapes);
}

double HighestBitRate(const ReportFacts& facts) { return HighestOf(RatesOf(facts)); }

// Areas upon each other; the topmost line is the sum.
std::string BitRateChart(const ReportFacts& facts) {
  const Rates rates = RatesOf(facts);
  const double highest = std::max(HighestOf(rates), 1.0);
  const std::size_t columns = facts.scale.Count();
  std::vector<double> floor(rates.perKind.size(), 0);
  std::string shapes;
  for (std::size_t kind = 0; kind < kLaneKinds.size(); ++kind) {
    Path top;
    Path back;
    bool isThere = false;
    std::vector<std::string> under;
    for (std::size_t i = 0; i < floor.size(); ++i) {
      const std::size_t left = i * rates.columns;
      const std::size_t right = std::min(left + rates.columns, columns);
      const auto height = [&](double rate) { return kChartHeight * (1 - rate / highest); };
      under.push_back(fmt::format("H{}V{:.1f}H{}", right, height(floor[i]), left));
      floor[i] += rates.perKind[i][kind];
      isThere = isThere || rates.perKind[i][kind] > 0;
      Draw(top, "{}{} {:.1f}H{}", i == 0 ? 'M' : 'L', left, height(floor[i]), right);
    }
    if (!isThere) continue;
    for (auto line = under.rbegin(); line != under.rend(); ++line) Draw(back, "{}", *line);
    const std::string area = fmt::to_string(top) + fmt::to_string(back) + "z";
    shapes += fmt::format("<path class=\"area {}\" d=\"{}\"/>", kLaneKinds[kind], area);
  }
  shapes += Pieces(facts, kChartHeight, [&](std::size_t begin, std::size_t end) {
    double bits = 0;
    for (const ReportTrack& track : facts.tracks) {
      bits += 8.0 * static_cast<double>(Sum(facts, track.cells, begin, end).bytes);
    }
    return fmt::format("{:.1f} kb/s", bits / Seconds(facts, end - begin) / 1000);
  });
  return Svg("chart", columns, kChartHeight, "Bit rate over time",
             fmt::format("At most {:.1f} kb/s of all tracks together", highest / 1000), shapes);
}

std::string ClusterChart(const ReportFacts& facts) {
  const double size = std::max(static_cast<double>(facts.size), 1.0);
  const auto height = [&](std::uint64_t position) {
    return kChartHeight * (1 - std::min(static_cast<double>(position) / size, 1.0));
  };
  Path line;
  Path dots;
  bool isFirst = true;
  for (std::size_t i = 0; i < facts.scale.Count(); ++i) {
    const ClusterCell* const cell = facts.clusters.Find(facts.scale.first + static_cast<std::int64_t>(i));
    if (cell == nullptr || cell->clusters == 0) continue;
    Draw(line, "{}{}.5 {:.2f}", isFirst ? 'M' : 'L', i, height(cell->lowest));
    if (cell->highest != cell->lowest) Draw(line, "V{:.2f}", height(cell->highest));
    Draw(dots, "M{}.5 {:.2f}V{:.2f}", i, height(cell->lowest), height(cell->highest));
    isFirst = false;
  }
  std::string shapes = PathOf("line", line) + PathOf("dots", dots);
  shapes += Pieces(facts, kChartHeight, [&](std::size_t begin, std::size_t end) {
    const ClusterCell sum = Sum(facts, facts.clusters, begin, end);
    return sum.clusters == 0 ? "no Cluster begins"
                             : fmt::format("{} Clusters, bytes {} to {}", sum.clusters, sum.lowest, sum.highest);
  });
  for (const WrongIndexEntry& entry : facts.wrongEntries) {
    const double x = (static_cast<double>(entry.time) - static_cast<double>(facts.Start())) / facts.ColumnTime();
    shapes += fmt::format(
        "<path class=\"wrong\" d=\"M{:.2f} {:.2f}h.01\"><title>index entry of {} leads to byte {}, {}</title></path>",
        x, height(entry.position), TimeText(entry.time), entry.position,
        entry.isPlaceWrong ? "where no Cluster begins"
                           : fmt::format("to a Cluster without a block of track {} then", entry.track));
  }
  return Svg("chart", facts.scale.Count(), kChartHeight, "Clusters: place in the file against time",
             fmt::format("{} Clusters; {} index entries lead to a wrong place", facts.clusterCount, facts.indexWrong),
             shapes);
}

std::string IndexChart(const ReportFacts& facts) {
  Path right;
  Path wrong;
  for (std::size_t i = 0; i < facts.scale.Count(); ++i) {
    const IndexCell* const cell = facts.index.Find(facts.scale.first + static_cast<std::int64_t>(i));
    if (cell == nullptr) continue;
    if (cell->right > 0) Draw(right, "M{}.5 8v14", i);
    if (cell->wrong > 0) Draw(wrong, "M{}.5 1v21", i);
  }
  std::string shapes = PathOf("mark right", right) + PathOf("mark false", wrong);
  shapes += Pieces(facts, kLaneHeight, [&](std::size_t begin, std::size_t end) {
    const IndexCell sum = Sum(facts, facts.index, begin, end);
    return fmt::format("{} entries that are right, {} that are wrong", sum.right, sum.wrong);
  });
  return Svg("lane index", facts.scale.Count(), kLaneHeight, "Index over time",
             fmt::format("{} entries that are right, {} that are wrong", facts.indexRight, facts.indexWrong), shapes);
}

std::string LayoutChart(const ReportFacts& facts) {
  constexpr std::array<std::pair<LayoutBit, const char*>, 5> kParts = {{{kClusterBytes, "clusters"},
                                                                        {kOtherBytes, "rest"},
                                                                        {kHeaderBytes, "headers"},
                                                                        {kAttachmentBytes, "attached"},
                                                                        {kIndexBytes, "cues"}}};
  std::string shapes;
  for (const auto& [bit, classes] : kParts) {
    Path path;
    for (std::size_t i = 0; i < facts.layout.size(); ++i) {
      if ((facts.layout[i] & bit) == 0) continue;
      const std::size_t begin = i;
      while (i + 1 < facts.layout.size() && (facts.layout[i + 1] & bit) != 0) ++i;
      Draw(path, "M{} 4h{}v18h-{}z", begin, i + 1 - begin, i + 1 - begin);
    }
    shapes += PathOf(fmt::format("part {}", classes).c_str(), path);
  }
  return Svg("lane", facts.layout.size(), kLaneHeight, "What lies where in the file",
             fmt::format("{} bytes from left to right", facts.size), shapes);
}

}  // namespace vantor::tools
