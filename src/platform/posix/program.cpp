#include "platform/program.h"

namespace vantor::platform {

std::vector<std::string> Arguments(int argc, const char* const* argv) { return {argv, argv + argc}; }

StandardStreams::StandardStreams() noexcept = default;
StandardStreams::~StandardStreams() = default;

}  // namespace vantor::platform
