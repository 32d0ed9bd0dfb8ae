#include "mediatypes/stream_description.h"

#include <memory>
#include <string>

#include "baseclasses/media_type.h"
#include "mediatypes/base64.h"
#include "platform/com_ptr.h"

namespace vantor {

namespace {

constexpr std::size_t kLongestValue = 1024;  // characters, terminator included

// The path of the file that the pin's filter reads; empty when it names none.
WideString SourcePath(IPin* upstream) {
  PIN_INFO info{};
  if (upstream == nullptr || FAILED(upstream->QueryPinInfo(&info))) return {};
  const auto filter = ComPtr<IBaseFilter>::Adopt(info.pFilter);
  ComPtr<IFileSourceFilter> source;
  if (!filter || FAILED(filter->QueryInterface(IID_IFileSourceFilter, source.Void())) || !source) return {};

  LPOLESTR name = nullptr;
  CMediaType type;
  const HRESULT found = source->GetCurFile(&name, &type);
  const std::unique_ptr<OLECHAR, decltype(&CoTaskMemFree)> owned(name, &CoTaskMemFree);
  return SUCCEEDED(found) && name != nullptr ? WideString(name) : WideString();
}

Bytes DecodeBase64(const WideString& value) {
  std::string text;
  for (const WCHAR letter : value) text.push_back(letter < 0x80 ? static_cast<char>(letter) : '?');
  const CVKBase64Encoder encoder;
  const std::int32_t length = static_cast<std::int32_t>(text.size());
  Bytes decoded(static_cast<std::size_t>(encoder.DecodedSize(length)));
  decoded.resize(static_cast<std::size_t>(encoder.Decode(text.data(), length, decoded.data())));
  return decoded;
}

}  // namespace

WideString StreamDescriptionPath(const WideString& mediaPath) {
  const std::size_t point = mediaPath.rfind(OLESTR('.'));
  return point == WideString::npos ? WideString() : mediaPath.substr(0, point) + OLESTR(".conf");
}

bool StreamDescription::Read(const MkvTrackEntry& track, Bytes& codecPrivate) {
  if (!file_) file_.emplace(StreamDescriptionPath(SourcePath(upstream_)));
  const WideString value = file_->Value(OLESTR("Stream.") + track.Name, OLESTR("CodecData"), kLongestValue);
  const Bytes decoded = DecodeBase64(value);
  Bytes box;
  if (!BuildAvcConfig(decoded.data(), decoded.size(), box) || box.size() <= kAvcBoxHeaderSize) return false;
  codecPrivate.assign(box.begin() + kAvcBoxHeaderSize, box.end());
  return true;
}

}  // namespace vantor
