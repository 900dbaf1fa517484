// Rendering of the display panels and the PNG file (libpng's simplified write API).
#include "tools/sim/display_picture.h"

#include <png.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>

namespace simtool {
namespace {

struct Colour {
  std::uint8_t r, g, b;
};

constexpr int kMargin = 12;
constexpr int kDigitScale = 2;
constexpr int kLabelHeight = 5 * kDigitScale;
constexpr int kStripHeight = 32;
constexpr int kGap = 6;
constexpr int kPlotSize = 256;
constexpr int kPanelWidth = kPlotSize + 2 * kMargin;
constexpr int kGradientTop = kMargin + kLabelHeight + kGap;
constexpr int kColourBarTop = kGradientTop + kStripHeight + kGap;
constexpr int kPlotTop = kColourBarTop + kStripHeight + kGap;
constexpr int kPanelHeight = kPlotTop + kPlotSize + kMargin;
constexpr Colour kPanelBackground{40, 40, 40};
constexpr Colour kPlotBackground{0, 0, 0};
constexpr Colour kGrid{36, 36, 36};
constexpr Colour kLabel{220, 220, 220};
constexpr Colour kSeparator{16, 16, 16};

// Digits 0-9 in a 3x5 font, one bit per pixel, top row in the highest bits.
constexpr std::array<std::uint16_t, 10> kDigits = {
    0b111101101101111, 0b010110010010111, 0b111001111100111, 0b111001111001111,
    0b101101111001001, 0b111100111001111, 0b111100111101111, 0b111001001001001,
    0b111101111101111, 0b111101111001111};

class Image {
 public:
  Image(int width, int height) : width(width), height(height), pixels(3 * width * height) {}

  void fill(int x, int y, int w, int h, Colour c) {
    for (int row = y; row < y + h; ++row) {
      for (int column = x; column < x + w; ++column) {
        set(column, row, c);
      }
    }
  }
  void set(int x, int y, Colour c) {
    std::uint8_t* p = &pixels[3 * (y * width + x)];
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
  }
  // Adds a curve's colour so that where curves meet their colours mix (all three: white).
  void add(int x, int y, Colour c) {
    std::uint8_t* p = &pixels[3 * (y * width + x)];
    p[0] = std::max(p[0], c.r);
    p[1] = std::max(p[1], c.g);
    p[2] = std::max(p[2], c.b);
  }
  void savePng(const std::string& path) const {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr)) {
      throw std::runtime_error("cannot write " + path + ": " + image.message);
    }
  }

 private:
  int width;
  int height;
  std::vector<std::uint8_t> pixels;
};

// The 8-bit output of a channel's ramp for an 8-bit input.
std::uint8_t through(const sim::RampWords& ramp, int channel, int input) {
  return static_cast<std::uint8_t>(ramp[static_cast<std::size_t>(channel * 256 + input)] >> 8);
}

Colour throughRamp(const sim::RampWords& ramp, Colour in) {
  return Colour{through(ramp, 0, in.r), through(ramp, 1, in.g), through(ramp, 2, in.b)};
}

// Fully saturated hue for a position 0..255 across the bar.
Colour hue(int position) {
  const int segment = position * 6 / 256;
  const auto up = static_cast<std::uint8_t>(position * 6 % 256);
  const auto down = static_cast<std::uint8_t>(255 - up);
  switch (segment) {
    case 0: return {255, up, 0};
    case 1: return {down, 255, 0};
    case 2: return {0, 255, up};
    case 3: return {0, down, 255};
    case 4: return {up, 0, 255};
    default: return {255, 0, down};
  }
}

void drawNumber(Image& image, int x, int y, std::size_t number) {
  const std::string digits = std::to_string(number);
  for (const char digit : digits) {
    const std::uint16_t bits = kDigits[static_cast<std::size_t>(digit - '0')];
    for (int row = 0; row < 5; ++row) {
      for (int column = 0; column < 3; ++column) {
        if (bits & (1u << (14 - (row * 3 + column)))) {
          image.fill(x + column * kDigitScale, y + row * kDigitScale, kDigitScale, kDigitScale,
                     kLabel);
        }
      }
    }
    x += 4 * kDigitScale;
  }
}

void drawStrips(Image& image, int left, const sim::RampWords& ramp) {
  for (int level = 0; level < 256; ++level) {
    const auto grey = static_cast<std::uint8_t>(level);
    image.fill(left + level, kGradientTop, 1, kStripHeight, throughRamp(ramp, {grey, grey, grey}));
    image.fill(left + level, kColourBarTop, 1, kStripHeight, throughRamp(ramp, hue(level)));
  }
}

void drawCurves(Image& image, int left, const sim::RampWords& ramp) {
  image.fill(left, kPlotTop, kPlotSize, kPlotSize, kPlotBackground);
  for (int line = 64; line < kPlotSize; line += 64) {
    image.fill(left + line, kPlotTop, 1, kPlotSize, kGrid);
    image.fill(left, kPlotTop + line, kPlotSize, 1, kGrid);
  }
  constexpr std::array<Colour, 3> kCurveColours = {Colour{255, 0, 0}, Colour{0, 255, 0},
                                                   Colour{0, 0, 255}};
  for (int channel = 0; channel < 3; ++channel) {
    int previous = -1;
    for (int input = 0; input < 256; ++input) {
      const int y = 255 - through(ramp, channel, input);
      // A vertical run joins each point to the one before, so steep curves stay unbroken.
      const int from = previous < 0 ? y : std::min(previous, y);
      const int to = previous < 0 ? y : std::max(previous, y);
      for (int row = from; row <= to; ++row) {
        image.add(left + input, kPlotTop + row, kCurveColours[static_cast<std::size_t>(channel)]);
      }
      previous = y;
    }
  }
}

}  // namespace

void writeDisplayPicture(const std::vector<sim::SimDisplay>& displays, const std::string& path) {
  const int panels = std::max<int>(1, static_cast<int>(displays.size()));
  Image image(panels * kPanelWidth, kPanelHeight);
  image.fill(0, 0, panels * kPanelWidth, kPanelHeight, kPanelBackground);
  for (std::size_t i = 0; i < displays.size(); ++i) {
    const int left = static_cast<int>(i) * kPanelWidth + kMargin;
    image.fill(static_cast<int>(i) * kPanelWidth, 0, 1, kPanelHeight, kSeparator);
    drawNumber(image, left, kMargin, i + 1);
    drawStrips(image, left, displays[i].ramp);
    drawCurves(image, left, displays[i].ramp);
  }
  image.savePng(path);
}

}  // namespace simtool
