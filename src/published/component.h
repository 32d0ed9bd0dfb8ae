// Who the components are: the identifiers and names by which registries, graphs and hosts know them. There are two, the
// demultiplexer and the complete one, which plays more of what files in the wild hold.
//
//   CoCreateInstance(kClsidMkvDmx, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, &filter);
//   CoCreateInstance(kMkvDmxComplete.classId, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter, &filter);
//
// vantormkv.idl and vantormkv_complete.idl repeat the identifiers of the type libraries.
#pragma once

#include "platform/com.h"

namespace vantor {

// The name that the filter registers itself under, and the input pin's.
inline constexpr WCHAR kFilterName[] = OLESTR("Vantor MKV Demultiplexer");
inline constexpr WCHAR kInputPinName[] = OLESTR("MKV input");

// {5E1B2A64-90C3-4D0F-A7E2-6B8D54C9F311}
inline constexpr CLSID kClsidMkvDmx = {0x5e1b2a64, 0x90c3, 0x4d0f, {0xa7, 0xe2, 0x6b, 0x8d, 0x54, 0xc9, 0xf3, 0x11}};
// {C3D7A1F0-2B46-4E58-9C1D-70A5E4B8D612}
inline constexpr IID kIidMkvDmx = {0xc3d7a1f0, 0x2b46, 0x4e58, {0x9c, 0x1d, 0x70, 0xa5, 0xe4, 0xb8, 0xd6, 0x12}};
// {8F4A6D3B-15E9-4C72-B0A8-3D92F7C1E564}
inline constexpr GUID kTypeLibraryId = {0x8f4a6d3b, 0x15e9, 0x4c72, {0xb0, 0xa8, 0x3d, 0x92, 0xf7, 0xc1, 0xe5, 0x64}};
inline constexpr WORD kTypeLibraryMajor = 1;
inline constexpr WORD kTypeLibraryMinor = 0;

struct ComponentIdentity {
  const WCHAR* filterName;
  CLSID classId;
  IID interfaceId;     // of IVXMkvDmx
  GUID typeLibraryId;  // in the version above
};

inline constexpr ComponentIdentity kMkvDmx = {kFilterName, kClsidMkvDmx, kIidMkvDmx, kTypeLibraryId};
// {35CF08A4-73AF-444E-912C-586453BA20A0}, {1164C123-3C04-47F9-B42F-3717FAC75520} and
// {FDE6ADDF-39AA-46D2-9EE8-945104573D8A}
inline constexpr ComponentIdentity kMkvDmxComplete = {
    OLESTR("Vantor MKV Demultiplexer (complete)"),
    {0x35cf08a4, 0x73af, 0x444e, {0x91, 0x2c, 0x58, 0x64, 0x53, 0xba, 0x20, 0xa0}},
    {0x1164c123, 0x3c04, 0x47f9, {0xb4, 0x2f, 0x37, 0x17, 0xfa, 0xc7, 0x55, 0x20}},
    {0xfde6addf, 0x39aa, 0x46d2, {0x9e, 0xe8, 0x94, 0x51, 0x04, 0x57, 0x3d, 0x8a}}};

// The automation interface of both: a dispatch interface without methods of its own.
struct IVXMkvDmx : public IDispatch {
 protected:
  ~IVXMkvDmx() = default;
};

}  // namespace vantor
