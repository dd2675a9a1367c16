// Text as a picture. The texts of this window come from people: any script, mixed, in any length. What lays out and
// draws them is the desktop's own text engine: AppKit's on macOS, and Pango on Linux, because GNUstep's AppKit has
// neither right-to-left text nor joined letters, and does not find the fonts for Chinese, Japanese and Korean by
// itself.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct TextStyle {
    double size = 13; // points
    bool bold = false;
    std::uint32_t colour = 0;       // 0xRRGGBB
    int lines = 1;                  // at most, each centred; the rest is cut with an ellipsis
    std::string_view language = ""; // a tag such as "ja", which decides between variants of a character; may be empty
};

struct TextPicture {
    double width = 0; // points; the picture may be smaller than the space given
    double height = 0;
    bool cut = false; // not all of the text is shown
    int pixelsWide = 0;
    int pixelsHigh = 0;
    std::vector<std::uint8_t> pixels; // RGBA, premultiplied, top row first
};

// The text in one line: line ends and control characters become blanks, what is not UTF-8 a replacement character.
std::string OneParagraph(std::string_view text);

// Draws the text, which is one paragraph (OneParagraph is applied to it),
// wrapped to at most `width` points, with `scale` pixels to the point. An empty text gives an empty picture.
TextPicture DrawText(std::string_view text, const TextStyle &style, double width, double scale);

// `text` set apart, so that its direction does not reach the text around it.
std::string Isolated(const std::string &text);

// The language whose character variants a text in a Chinese, Japanese or Korean script wants; "" for any other.
std::string_view EastAsianLanguage(std::string_view text);

// The first letter of a text as a reader counts letters, in upper case; "" for a text without any.
std::string Initial(std::string_view text);
