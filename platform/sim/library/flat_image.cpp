// Layout and delivery of flat crypt32 results; see flat_image.h.
#include "platform/sim/library/flat_image.h"

#include <cstdint>
#include <cstring>

#include "platform/sim/core/test_api.h"
#include "platform/sim/core/utf.h"

namespace sim {

std::size_t FlatImage::append(const void* data, std::size_t size, std::size_t alignment) {
  const std::size_t offset = (bytes.size() + alignment - 1) / alignment * alignment;
  bytes.resize(offset + size, 0);
  if (data && size > 0) {
    std::memcpy(bytes.data() + offset, data, size);
  }
  return offset;
}

std::size_t FlatImage::appendWide(const std::string& utf8) {
  std::vector<WCHAR> wide =
      utf8ToUtf16(reinterpret_cast<const unsigned char*>(utf8.data()), utf8.size());
  wide.push_back(0);
  return append(wide.data(), wide.size() * sizeof(WCHAR), alignof(WCHAR));
}

std::size_t FlatImage::appendNarrow(const std::string& text) {
  return append(text.c_str(), text.size() + 1, 1);
}

void FlatImage::link(std::size_t fieldOffset, std::size_t targetOffset) {
  const std::uintptr_t relative = targetOffset;
  std::memcpy(bytes.data() + fieldOffset, &relative, sizeof relative);
  pointerFields.push_back(fieldOffset);
}

void FlatImage::placeAt(void* destination) const {
  auto* base = static_cast<unsigned char*>(destination);
  std::memcpy(base, bytes.data(), bytes.size());
  for (const std::size_t field : pointerFields) {
    std::uintptr_t relative = 0;
    std::memcpy(&relative, base + field, sizeof relative);
    const std::uintptr_t absolute = reinterpret_cast<std::uintptr_t>(base) + relative;
    std::memcpy(base + field, &absolute, sizeof absolute);
  }
}

BOOL deliverImage(const FlatImage& image, void* buffer, DWORD* size) {
  const DWORD needed = static_cast<DWORD>(image.size());
  if (!buffer) {
    *size = needed;
    return TRUE;
  }
  if (*size < needed) {
    *size = needed;
    setLastError(ERROR_MORE_DATA);
    return FALSE;
  }
  image.placeAt(buffer);
  *size = needed;
  return TRUE;
}

}  // namespace sim
