// Texts of the file go through Html() without exception, and the page forbids whatever could run or be fetched besides.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <vector>

#include "tools/findings_text.h"
#include "tools/report/html_text.h"
#include "tools/report/report_charts.h"
#include "tools/report/report_text.h"
#include "tools/time_text.h"

namespace vantor::tools {
namespace {

constexpr const char* kHead =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
    "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";

// Places at which the marks of findings are drawn: those nearer to each other share one.
constexpr int kFlagPlaces = 11;
constexpr std::size_t kMostNumbersOfFlag = 2;

class Page {
 public:
  Page(const std::string& file, const ReportFacts& facts) : file_(file), facts_(facts), axis_(facts) {}

  std::string Text() {
    Add("{}<title>{}</title>\n<style>{}</style>\n</head>\n<body>\n", kHead, Html(Name()), kReportStyle);
    AddHeader();
    AddFindings();
    AddTimeline();
    AddLayout();
    AddNumbers();
    Add("</body>\n</html>\n");
    return std::move(page_);
  }

 private:
  template <typename... Values>
  void Add(fmt::format_string<Values...> text, Values&&... values) {
    fmt::format_to(std::back_inserter(page_), text, std::forward<Values>(values)...);
  }

  std::string Name() const {
    const std::size_t slash = file_.find_last_of("/\\");
    return slash == std::string::npos ? file_ : file_.substr(slash + 1);
  }

  void AddHeader() {
    Add("<header>\n<h1>{}</h1>\n", Html(Name()));
    if (!facts_.title.empty()) Add("<p>{}</p>\n", Html(facts_.title));
    Add("<p class=\"quiet\">{}, {}, {}, {}", Html(facts_.container), TimeText(facts_.duration), SizeText(facts_.size),
        CountText(facts_.tracks.size(), "track", "tracks"));
    if (facts_.chapterCount > 0) Add(", {}", CountText(facts_.chapterCount, "chapter", "chapters"));
    if (facts_.attachmentCount > 0) Add(", {}", CountText(facts_.attachmentCount, "attachment", "attachments"));
    if (!facts_.writingApp.empty()) Add(", written by {}", Html(facts_.writingApp));
    Add("</p>\n");
    if (facts_.HasRestBehindEnd()) {
      Add("<p>Playing ends at {}, the last packet begins at {}: what lies behind the end is hatched.</p>\n",
          TimeText(facts_.stop), TimeText(facts_.lastStart));
    }
    Add("</header>\n");
  }

  void AddFindings() {
    const std::optional<Severity> worst = Worst(facts_.findings);
    const bool isHealthy = !worst || *worst == Severity::kNote;
    Add("<section>\n<h2>Findings: <span class=\"sums {}\">{}</span></h2>\n", isHealthy ? "good" : SeverityName(*worst),
        SumsText(facts_.findings));
    if (!facts_.findings.empty()) Add("<ol class=\"findings\">\n");
    for (std::size_t i = 0; i < facts_.findings.size(); ++i) AddFinding(i + 1, facts_.findings[i]);
    if (!facts_.findings.empty()) Add("</ol>\n");
    Add("</section>\n");
  }

  void AddFinding(std::size_t number, const Finding& finding) {
    Add("<li id=\"finding-{}\"><span class=\"{}\">{}</span><div><p><span class=\"what {}\">{}: {}</span> ", number,
        SeverityName(finding.severity), number, SeverityName(finding.severity), SeverityName(finding.severity),
        finding.Id());
    std::vector<std::string> places;
    if (finding.track) places.push_back(fmt::format("track {}", *finding.track));
    if (finding.position) {
      places.push_back(fmt::format("byte {}", *finding.position));
      const std::optional<std::int64_t> time = facts_.TimeOfByte(*finding.position);
      if (time) places.push_back("near " + TimeText(*time));
    }
    Add("<span class=\"quiet\">{}</span></p><p>{}</p><p class=\"quiet\">{}</p></div></li>\n", fmt::join(places, ", "),
        Html(finding.text), Html(AdviceText(finding)));
  }

  // `placeOf` gives a finding's place in percent of the strip.
  template <typename PlaceOf>
  void AddFlags(const char* label, PlaceOf&& placeOf) {
    std::map<int, std::vector<std::size_t>> flags;
    std::map<int, std::string> places;
    for (std::size_t i = 0; i < facts_.findings.size(); ++i) {
      const std::optional<std::string> place = placeOf(facts_.findings[i]);
      if (!place) continue;
      const auto bucket = static_cast<int>(std::lround(std::stod(*place) / 100 * (kFlagPlaces - 1)));
      flags[bucket].push_back(i);
      places.emplace(bucket, *place);
    }
    if (flags.empty()) return;
    Add("<div class=\"row\"><div class=\"label\">{}</div><div class=\"flags\">", label);
    for (const auto& [bucket, numbers] : flags) {
      const Finding& first = facts_.findings[numbers.front()];
      std::string title;
      for (const std::size_t number : numbers) {
        const Finding& finding = facts_.findings[number];
        title += fmt::format("{}{}. {}: {}", title.empty() ? "" : "; ", number + 1, finding.Id(), finding.text);
      }
      std::vector<std::size_t> shown;
      for (const std::size_t number : numbers) {
        if (shown.size() < kMostNumbersOfFlag) shown.push_back(number + 1);
      }
      Add("<a class=\"flag {}\" href=\"#finding-{}\" style=\"--at:{}\" title=\"{}\">{}{}</a>",
          SeverityName(first.severity), numbers.front() + 1, places[bucket], Html(title), fmt::join(shown, ", "),
          numbers.size() > shown.size() ? " \u2026" : "");
    }
    Add("</div></div>\n");
  }

  void AddAxis(const char* classes) {
    Add("<div class=\"row bare\"><div></div><div class=\"{}\" aria-hidden=\"true\">", classes);
    bool isMinor = false;
    for (const ReportAxis::Tick& tick : axis_.Ticks()) {
      const std::string place = axis_.Percent(tick.time);
      Add("<i style=\"--at:{}\"></i><span{} style=\"--at:{}\">{}</span>", place, isMinor ? " class=\"minor\"" : "",
          place, tick.text);
      isMinor = !isMinor;
    }
    Add("</div></div>\n");
  }

  void AddRow(const std::string& classes, const std::string& label, const std::string& picture, bool isTime = true) {
    Add("<div class=\"row {}\"><div class=\"label\">{}</div><div class=\"strip\">{}", classes, label, picture);
    if (isTime && facts_.HasRestBehindEnd()) {
      Add("<div class=\"behind\" style=\"left:{}\"></div>", axis_.Percent(facts_.stop));
    }
    Add("</div></div>\n");
  }

  std::string LabelOf(const ReportTrack& track) const {
    if (!track.hasEntry) {
      return fmt::format("<b>Blocks without a track</b><br>{}", CountText(track.packets, "packet", "packets"));
    }
    std::string label = fmt::format("<b>{} {}</b> <code>{}</code><br>", track.number, track.kind, Html(track.codec));
    label += fmt::format("<span class=\"quiet\">{}", Html(track.language));
    if (!track.name.empty()) label += fmt::format(", {}", Html(track.name));
    label +=
        fmt::format("</span><br>{}, {}", CountText(track.packets, "packet", "packets"),
                    track.keys == track.blocks && track.blocks > 0 ? std::string("all key frames")
                                                                   : CountText(track.keys, "key frame", "key frames"));
    if (track.pin == 0) label += ", <span class=\"error\">no pin</span>";
    if (track.lost > 0) label += fmt::format(", <span class=\"error\">{} not delivered</span>", track.lost);
    if (track.gapCount > 0) label += fmt::format(", {}", CountText(track.gapCount, "gap", "gaps"));
    label += FindingsOf(track);
    return label;
  }

  // Those that are about the track, be it at a place or as a whole.
  std::string FindingsOf(const ReportTrack& track) const {
    std::string links;
    for (std::size_t i = 0; i < facts_.findings.size(); ++i) {
      const Finding& finding = facts_.findings[i];
      if (finding.track != track.number) continue;
      links += fmt::format(", <a class=\"{}\" href=\"#finding-{}\">finding {}</a>", SeverityName(finding.severity),
                           i + 1, i + 1);
    }
    return links;
  }

  bool HasTrackWith(std::uint64_t ReportTrack::*count) const {
    return std::any_of(facts_.tracks.begin(), facts_.tracks.end(),
                       [&](const ReportTrack& track) { return track.*count > 0; });
  }

  void AddLegend() {
    const auto entry = [&](const char* shape, const char* words) {
      Add("<li><svg viewBox=\"0 0 22 14\" aria-hidden=\"true\">{}</svg>{}</li>", shape, words);
    };
    Add("<ul class=\"legend\">");
    entry(
        "<path class=\"video bar\" d=\"M0 3h7v8h-7z\"/><path class=\"audio bar\" d=\"M7 3h7v8h-7z\"/>"
        "<path class=\"subtitle bar\" d=\"M14 3h8v8h-8z\"/>",
        "video, audio, subtitles");
    entry("<path class=\"key\" d=\"M4.5 3v8M11.5 3v8M18.5 3v8\"/>", "key frames");
    entry("<path class=\"bar lost\" d=\"M1 3h20v8h-20z\"/>", "not delivered, or wrong in the index");
    if (HasTrackWith(&ReportTrack::preroll)) {
      entry("<path class=\"video bar preroll\" d=\"M0 3h22v8h-22z\"/>", "preroll, before playing begins");
    }
    if (HasTrackWith(&ReportTrack::gapCount)) {
      entry("<rect class=\"gap\" x=\"1\" y=\"3\" width=\"20\" height=\"8\"/>", "gap");
    }
    if (facts_.HasRestBehindEnd()) {
      Add("<li><span class=\"hatched\"><span class=\"behind\" style=\"left:0\"></span></span>behind the announced "
          "end</li>");
    }
    Add("</ul>\n");
  }

  void AddChapters() {
    if (facts_.chapterCount == 0) return;
    std::string marks = "<div class=\"chapters\">";
    for (const ReportChapter& chapter : facts_.chapters) {
      marks += fmt::format("<i style=\"--at:{}\" title=\"{} {}\"></i>", axis_.Percent(chapter.start),
                           TimeText(chapter.start), Html(chapter.name));
    }
    AddRow("", fmt::format("<b>Chapters</b><br>{}", facts_.chapterCount), marks + "</div>");
  }

  void AddTimeline() {
    Add("<section>\n<h2>Over time</h2>\n");
    AddLegend();
    AddAxis("axis");
    AddFlags("<b>Findings</b>", [&](const Finding& finding) -> std::optional<std::string> {
      const std::optional<std::int64_t> time =
          finding.position ? facts_.TimeOfByte(*finding.position) : std::optional<std::int64_t>();
      return time ? std::optional(axis_.Percent(*time)) : std::nullopt;
    });
    for (const ReportTrack& track : facts_.tracks) AddRow("track", LabelOf(track), LaneChart(facts_, track));
    const std::string entries = facts_.hasIndex ? fmt::format("{} right, {}{} wrong{}", facts_.indexRight,
                                                              facts_.indexWrong > 0 ? "<span class=\"error\">" : "",
                                                              facts_.indexWrong, facts_.indexWrong > 0 ? "</span>" : "")
                                                : std::string("the file has none that is found");
    AddRow("", "<b>Index entries</b><br>" + entries, IndexChart(facts_));
    AddChapters();
    AddRow("", fmt::format("<b>Bit rate</b><br>at most {:.1f} kb/s", HighestBitRate(facts_) / 1000),
           BitRateChart(facts_));
    AddRow("",
           fmt::format("<b>Clusters</b><br>{}, by their place in the file, its end on top{}", facts_.clusterCount,
                       facts_.wrongEntries.empty() ? "" : "; squares: where wrong index entries lead"),
           ClusterChart(facts_));
    AddAxis("axis low");
    Add("</section>\n");
  }

  void AddLayout() {
    Add("<section>\n<h2>In the file</h2>\n<ul class=\"legend\">");
    for (const auto& [classes, words] :
         {std::pair("headers", "headers"), std::pair("clusters", "Clusters"), std::pair("cues", "index"),
          std::pair("attached", "attachments"), std::pair("rest", "tags, chapters, void and the like")}) {
      Add("<li><svg viewBox=\"0 0 22 14\" aria-hidden=\"true\"><path class=\"part {}\" d=\"M0 3h22v8h-22z\"/></svg>{}"
          "</li>",
          classes, words);
    }
    Add("</ul>\n");
    AddFlags("<b>Findings</b>", [&](const Finding& finding) -> std::optional<std::string> {
      if (!finding.position || facts_.size == 0) return std::nullopt;
      const double place = static_cast<double>(*finding.position) / static_cast<double>(facts_.size);
      return fmt::format("{:.3f}%", 100 * std::min(place, 1.0));
    });
    AddRow("", fmt::format("<b>From first byte to last</b><br>{}", SizeText(facts_.size)), LayoutChart(facts_), false);
    Add("</section>\n");
  }

  void AddNumbers() {
    Add("<section>\n<details>\n<summary>The numbers</summary>\n");
    AddTrackTable();
    if (!facts_.chapters.empty()) {
      Add("<div class=\"scroll\"><table><caption>Chapters</caption><tr><th>From</th><th>Name</th></tr>\n");
      for (const ReportChapter& chapter : facts_.chapters) {
        Add("<tr><td>{}</td><td>{}</td></tr>\n", TimeText(chapter.start), Html(chapter.name));
      }
      Add("</table></div>\n");
      AddRest(facts_.chapterCount, facts_.chapters.size());
    }
    if (!facts_.attachments.empty()) {
      Add("<div class=\"scroll\"><table><caption>Attachments</caption><tr><th>Name</th><th>Type</th>"
          "<th class=\"n\">Size</th><th class=\"n\">At byte</th></tr>\n");
      for (const ReportAttachment& attached : facts_.attachments) {
        Add("<tr><td>{}</td><td>{}</td><td class=\"n\">{}</td><td class=\"n\">{}</td></tr>\n", Html(attached.name),
            Html(attached.type), SizeText(attached.size), attached.position);
      }
      Add("</table></div>\n");
      AddRest(facts_.attachmentCount, facts_.attachments.size());
    }
    Add("<p class=\"quiet\">A column of these pictures is {:.4g} s wide. Durations: {} as the filter announces it, {} "
        "in "
        "the file.</p>\n</details>\n</section>\n",
        facts_.ColumnTime() / 1e7, TimeText(facts_.duration), TimeText(facts_.fileDuration));
  }

  void AddRest(std::uint64_t count, std::size_t shown) {
    if (count > shown) Add("<p class=\"quiet\">and {} more</p>\n", count - shown);
  }

  void AddTrackTable() {
    Add("<div class=\"scroll\"><table><caption>Tracks</caption><tr><th "
        "class=\"n\">Track</th><th>Kind</th><th>Codec</th>"
        "<th>Pin</th><th class=\"n\">Packets</th><th class=\"n\">Not delivered</th><th class=\"n\">Key frames</th>"
        "<th class=\"n\">Preroll</th><th class=\"n\">Gaps</th><th class=\"n\">Bytes</th><th class=\"n\">From</th>"
        "<th class=\"n\">To</th></tr>\n");
    for (const ReportTrack& track : facts_.tracks) {
      Add("<tr><td class=\"n\">{}</td><td>{}</td><td>{}</td><td>{}</td>",
          track.hasEntry ? std::to_string(track.number) : "-", track.kind, Html(track.codec),
          track.pin != 0 ? std::to_string(track.pin) : "none");
      for (const std::uint64_t number :
           {track.packets, track.lost, track.keys, track.preroll, track.gapCount, track.bytes}) {
        Add("<td class=\"n\">{}</td>", number);
      }
      Add("<td class=\"n\">{}</td><td class=\"n\">{}</td></tr>\n", TimeText(track.firstStart), TimeText(track.lastEnd));
    }
    Add("</table></div>\n");
  }

  const std::string& file_;
  const ReportFacts& facts_;
  const ReportAxis axis_;
  std::string page_;
};

}  // namespace

std::string ReportPage(const std::string& file, const ReportFacts& facts) { return Page(file, facts).Text(); }

}  // namespace vantor::tools
