#pragma once

#include <array>
#include <string>
#include <vector>

#include "client/include/zelclient.h"
#include "client/tool/Picture.h"

namespace zeltool {

// Colours from 0 to 1.
using Rgb = std::array<float, 3>;

// A colour table of a Ladon model: output colours on a grid of input colours, whose steps need not be even.
class ColourTable {
  public:
    // Copies the table of a result that has one.
    explicit ColourTable(const zelclient_ladon& ladon);

    // What becomes of a colour: interpolated between the eight grid points around it, and of the nearest ones outside.
    Rgb at(const Rgb& colour) const;
    // A picture of three channels with every colour put through the table.
    Image applied(const Image& picture) const;
    // Writes the table as a .cube file, on an even grid of as many steps. False with a line for people when the file
    // cannot be written whole.
    bool save(const std::string& path, std::string title, std::string* error) const;

  private:
    struct Place {
        size_t below;  // grid index
        float share;   // of the point above it
    };
    Place placeOf(size_t channel, float value) const;

    std::vector<float> mColours;   // by output channel, then input blue, green, red
    std::vector<float> mVertices;  // by channel
};

}  // namespace zeltool
