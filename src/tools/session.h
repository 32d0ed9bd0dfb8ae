// Session: one file opened through the component, with the messages and exit statuses that every command shares.
//
//   Session session(options, stderr);
//   if (int status = session.Open(); status != kExitDone) return status;
//   session.OpenedGraph().ConnectSinks([](GraphPin&) { return std::make_shared<PlayCounter>(); });
//   ... run and stop it ...
//   return session.Finish();
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "host/component.h"
#include "host/graph.h"
#include "parser/playback_policy.h"
#include "tools/command_line.h"
#include "tools/file_shape.h"
#include "tools/messages.h"

namespace vantor::tools {

class Session {
 public:
  // The options and the stream for messages must outlive the session.
  Session(const Options& options, std::FILE* messages) : options_(options), messages_(messages) {}

  // Opens the file, loads the component and connects the filter. Anything but kExitDone has been said on the message
  // stream; after kExitRefused, ConnectResult() is the filter's.
  int Open();
  // Opens the file alone, which then has Bytes(), for what reads it without the component. Says what keeps it from
  // that.
  int OpenBytes();
  // The same as Open, but that a refusal by the file itself is not said: Refusal() gives its cause.
  int TryOpen();
  const FileShape& Refusal() const noexcept { return refusal_; }
  const FileShape& Shape() const noexcept { return shape_; }
  // After OpenBytes: says why the file is none that can be read, and gives the exit status.
  int FailedToOpen();
  // Says that the file is truncated, if it is.
  void WarnOfDamage();

  // The file, as far as it could be opened, and its whole name.
  const std::shared_ptr<ByteStore>& Bytes() const noexcept { return bytes_; }
  WideString FullFileName() const;
  // Whether the environment failed, so that what was found out is not the file's: says so.
  bool SayTrouble() const;

  // Who the component is.
  const ComponentIdentity& Identity() const noexcept { return options_.complete ? kMkvDmxComplete : kMkvDmx; }
  PlaybackPolicy Policy() const noexcept { return options_.complete ? kCompletePolicy : PlaybackPolicy(); }
  // Whether a component was named that may be anyone's.
  bool IsOtherComponent() const noexcept { return !options_.component.empty(); }
  HRESULT ConnectResult() const noexcept { return connectResult_; }
  // The graph that Open opens: empty before, and there also when Open failed.
  Graph& OpenedGraph() noexcept { return graph_; }
  void Say(const std::string& message) const {
    lastSaid_ = message;
    tools::Say(messages_, message);
  }
  // What was said last, without the file's name.
  const std::string& LastSaid() const noexcept { return lastSaid_; }
  // The same, about the file.
  void SayOfFile(const std::string& message) const;
  // Says that it was, and gives the exit status.
  int Interrupted() const;
  // Says what failed with which result, or what the environment failed at before; gives the exit status.
  int Failed(const std::string& what, HRESULT result) const;
  // The exit status of a command that has run: kExitDone when everything that there was has been delivered. Anything
  // else has been said. The caller may know of another trouble that it had.
  int Finish(const std::string& trouble = {}) const;

 private:
  // What kept the graph from the file's bytes, or from memory; empty when nothing did.
  std::string Trouble() const;

  const Options& options_;
  std::FILE* const messages_;
  std::shared_ptr<ByteStore> bytes_;
  FileShape shape_;
  FileShape refusal_;
  HRESULT connectResult_ = E_UNEXPECTED;
  mutable std::string lastSaid_;
  // Unloaded after everything that came from it has gone.
  std::unique_ptr<Component> component_;
  Graph graph_;
};

// How many frames a filter announced to have lost.
std::uint64_t LostFrames(const Graph& graph);

}  // namespace vantor::tools
