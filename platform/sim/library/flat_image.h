// Flat crypt32 results of the sim: a structure and all it points to in one block.
// Includes the size-then-data protocol that delivers the block into a caller's buffer.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "platform/types.h"

namespace sim {

class FlatImage {
 public:
  // Appends a copy of `size` bytes (zeros when `data` is null) at the next multiple of
  // `alignment` and gives its offset in the image.
  std::size_t append(const void* data, std::size_t size, std::size_t alignment);

  template <class T>
  std::size_t appendValue(const T& value) {
    return append(&value, sizeof value, alignof(T));
  }
  // A terminated UTF-16 copy of UTF-8 text, and a terminated copy of narrow text.
  std::size_t appendWide(const std::string& utf8);
  std::size_t appendNarrow(const std::string& text);

  // Overwrites bytes of the image, e.g. an entry of an array appended as zeros.
  template <class T>
  void writeValue(std::size_t offset, const T& value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
  }

  // Makes the pointer field at `fieldOffset` point at the image's `targetOffset` once placed.
  void link(std::size_t fieldOffset, std::size_t targetOffset);

  std::size_t size() const { return bytes.size(); }

  // Copies the image to `destination` and sets every linked pointer field to its target there.
  void placeAt(void* destination) const;

 private:
  std::vector<unsigned char> bytes;
  std::vector<std::size_t> pointerFields;
};

// crypt32's size-then-data protocol: without a buffer the size; with one too small the size and
// ERROR_MORE_DATA; otherwise the image, placed in the buffer, and its size.
BOOL deliverImage(const FlatImage& image, void* buffer, DWORD* size);

}  // namespace sim
