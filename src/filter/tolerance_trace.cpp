#include "filter/tolerance_trace.h"

#include "diag/trace.h"
#include "parser/tolerance_notes.h"

namespace vantor {

void CollectForTrace([[maybe_unused]] CMkvFileReader& source) {
  if constexpr ((kTraceFlags & kTraceFormatted) != 0) source.tolerated.Collect();
}

void TraceTolerated(const CMkvFileReader& source) {
  for (const Tolerance& note : source.tolerated.Notes()) {
    VANTOR_TRACE("\nTolerated at %llu, %llu bytes: %s", static_cast<unsigned long long>(note.position),
                 static_cast<unsigned long long>(note.bytes), ToleratedText(note.kind));
  }
  if (source.tolerated.Omitted() != 0) {
    VANTOR_TRACE("\nTolerated: %llu more", static_cast<unsigned long long>(source.tolerated.Omitted()));
  }
}

}  // namespace vantor
