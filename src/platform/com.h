// The one door to COM and DirectShow declarations, the same on both platforms.
//
// On Windows they come from the platform SDK. Natively they come from a packaged set of the same headers, with
// interface methods in the native calling convention, so that interfaces are ordinary C++ classes there.
// WCHAR is a 16-bit character type on both: write wide literals with OLESTR("...").
#pragma once

// The order matters to the headers.
// clang-format off
#if defined(_WIN32)
#include <windows.h>
#else
#define NOMINMAX
// The headers would hide the component's own exported functions.
#define DECLSPEC_HIDDEN
#include <windef.h>
#undef __stdcall
#define __stdcall
#undef __cdecl
#define __cdecl
#include <windows.h>
#endif

#include <objbase.h>
#include <oaidl.h>
#include <mmreg.h>
#include <strmif.h>
#include <control.h>
#include <uuids.h>
#include <amvideo.h>
#include <dvdmedia.h>
#include <evcode.h>
#include <vfwmsgs.h>
// clang-format on

#include <cstring>
#include <string>

namespace vantor {

using WideString = std::basic_string<WCHAR>;

// A total order over GUIDs' equality: bytewise comparison without relying on the headers' operators.
inline bool SameGuid(const GUID& left, const GUID& right) { return std::memcmp(&left, &right, sizeof(GUID)) == 0; }

}  // namespace vantor
