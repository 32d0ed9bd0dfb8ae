#include "realfiles/packet_list.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vantor::test {

namespace {

void ReadTrackLine(std::istringstream& words, PacketList& list) {
  TrackPackets track;
  std::string word;
  words >> track.number;
  while (words >> word) {
    if (word == "timebase") {
      char slash = 0;
      words >> track.timebaseNumerator >> slash >> track.timebaseDenominator;
    } else if (word == "shift") {
      words >> track.shift;
    } else if (word == "codec") {
      words >> track.codec;
    }
  }
  list.tracks.push_back(std::move(track));
}

void ReadHeaderLine(const std::string& line, PacketList& list) {
  std::istringstream words(line.substr(1));
  std::string word;
  words >> word;
  if (word == "tick") {
    words >> list.tick;
  } else if (word == "first-cluster") {
    words >> list.firstCluster;
  } else if (word == "last-cluster") {
    words >> list.lastCluster;
  } else if (word == "duration") {
    words >> list.duration;
  } else if (word == "cues") {
    words >> word;
    list.cues = word == "yes";
  } else if (word == "track") {
    ReadTrackLine(words, list);
  }
}

void ReadPacketLine(const std::string& line, PacketList& list) {
  std::vector<std::string> fields;
  std::istringstream text(line);
  for (std::string field; std::getline(text, field, ',');) {
    fields.push_back(field);
  }
  if (fields.size() != 9) {
    throw std::runtime_error("a packet line has nine fields: " + line);
  }
  Packet packet;
  packet.pts = std::stoll(fields[1]);
  packet.size = static_cast<std::uint32_t>(std::stoul(fields[4]));
  packet.crc32 = static_cast<std::uint32_t>(std::stoul(fields[5], nullptr, 16));
  packet.key = fields[6] == "1";
  packet.block = std::stoi(fields[7]);
  if (fields[8] != "-") {
    packet.blockDuration = std::stoll(fields[8]);
  }
  list.tracks.at(static_cast<std::size_t>(std::stoi(fields[0]) - 1)).packets.push_back(packet);
}

}  // namespace

std::string MediaPath(const std::string& name) { return std::string(VANTOR_TEST_MEDIA) + "/" + name; }

std::vector<std::string> MediaNames() {
  const std::string end = ".packets";
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(VANTOR_TEST_MEDIA)) {
    const std::string name = entry.path().filename().string();
    if (name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0) {
      names.push_back(name.substr(0, name.size() - end.size()));
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

PacketList ReadPacketList(const std::string& mediaName) {
  const std::string path = MediaPath(mediaName) + ".packets";
  std::ifstream file(path);
  PacketList list;
  for (std::string line; std::getline(file, line);) {
    if (line.empty()) {
      continue;
    }
    if (line.back() == '\r') {
      line.pop_back();
    }
    if (line.front() == '#') {
      ReadHeaderLine(line, list);
    } else {
      ReadPacketLine(line, list);
    }
  }
  if (list.tracks.empty() || list.tick == 0) {
    throw std::runtime_error("no packet list in " + path);
  }
  return list;
}

}  // namespace vantor::test
