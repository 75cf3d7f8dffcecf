#pragma once

#include "engine/pdf/function.h"

#include <qpdf/QPDFObjectHandle.hh>

#include <array>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// The parts that red, green and blue have in a gray: the luma of ITU-R BT.601, which is also the Y of every
/// JPEG, so that a photograph's gray is the one it was stored with, and, rounded, what a PDF viewer itself
/// takes for gray (ISO 32000-1, 10.3.2) and for the luminosity of a soft mask (11.3.5.3).
constexpr std::array<double, 3> lumaWeights = {0.299, 0.587, 0.114};

/// The darkness that full cyan, magenta, yellow and black each add to a gray (ISO 32000-1, 10.3.3).
constexpr std::array<double, 4> inkWeights = {0.3, 0.59, 0.11, 1.0};

/// A colour space (ISO 32000-1, 8.6): which gray its colours have.
class ColourSpace
{
public:
    enum class Family {
        Gray,    ///< DeviceGray, CalGray, ICCBased of one component
        Rgb,     ///< DeviceRGB, ICCBased of three components; both are taken for sRGB
        CalRgb,  ///< CalRGB
        Cmyk,    ///< DeviceCMYK, CalCMYK, ICCBased of four components
        Lab,     ///< Lab
        Indexed, ///< a palette of another space's colours
        Tint,    ///< Separation, DeviceN
        Pattern, ///< Pattern, with or without a space for uncoloured ones
    };

    /// Reads a colour space: a name or an array. Names that are no device space, and the abbreviations of
    /// inline images, are looked up in the /ColorSpace of `resources`, a dictionary or null. Throws
    /// std::runtime_error if it is malformed or unknown.
    static std::shared_ptr<const ColourSpace> read(const QPDFObjectHandle &object,
                                                   const QPDFObjectHandle &resources);

    Family family() const { return m_family; }
    /// How many numbers make a colour; for a pattern space those of the space below it, 0 without one.
    size_t components() const { return m_components; }

    /// The gray of a colour, from 0 for black to 1. `colour` has components() numbers, in the space's own
    /// ranges; beyond them they are clipped.
    double gray(std::span<const double> colour) const;

    /// The colour that is current after the space has been selected (8.6.5.1).
    std::vector<double> initialColour() const;

    /// The numbers that the lowest and the highest sample of an image with `bits` bits a sample stand for
    /// (8.9.5.2, table 90).
    Interval imageRange(size_t component, int bits) const;

    /// The gray space that takes this one's place: the space itself if it is gray already, a palette of grays
    /// for a palette, so that its indices stay; a pattern space over gray; otherwise DeviceGray.
    QPDFObjectHandle grayCounterpart() const;

    /// Whether the colours given to its grayCounterpart() are the same numbers as in this space: nothing that
    /// selects or uses colours need be rewritten.
    bool keepsNumbers() const;

    /// The palette of an Indexed space as grays, 0 to 255 each; empty for other spaces.
    std::string grayPalette() const;
    /// The same as colours: 3 bytes an entry, red, green, blue; empty for other spaces and for palettes of
    /// other than RGB or gray colours.
    std::string rgbPalette() const;

private:
    ColourSpace() = default;

    static std::shared_ptr<ColourSpace> read(QPDFObjectHandle object, const QPDFObjectHandle &resources,
                                             int depth);
    static std::shared_ptr<ColourSpace> named(const std::string &name, QPDFObjectHandle resources, int depth);
    void readFamily(const std::string &family, QPDFObjectHandle object, const QPDFObjectHandle &resources,
                    int depth);
    void readProfile(QPDFObjectHandle profile);
    void readLab(QPDFObjectHandle parameters);
    void readCalibration(QPDFObjectHandle parameters);
    void readPalette(QPDFObjectHandle object, const QPDFObjectHandle &resources, int depth);
    void readTint(QPDFObjectHandle object, const QPDFObjectHandle &resources, int depth);
    double labGray(std::span<const double> colour) const;
    double calibratedGray(std::span<const double> colour) const;
    double paletteGray(double index) const;
    std::vector<double> paletteColour(size_t index) const;

    Family m_family = Family::Gray;
    size_t m_components = 1;
    QPDFObjectHandle m_object;                 ///< of gray spaces
    std::shared_ptr<const ColourSpace> m_base; ///< of Indexed, Tint and Pattern
    std::string m_palette;                     ///< of Indexed: base components, a byte each
    std::shared_ptr<const Function> m_tint;    ///< of Tint
    std::array<double, 3> m_gamma = {1, 1, 1}; ///< of CalRgb
    std::array<double, 9> m_matrix = {1, 0, 0, 0, 1, 0, 0, 0, 1}; ///< of CalRgb, as in its array
    std::array<double, 3> m_white = {1, 1, 1};                    ///< of CalRgb
    std::array<Interval, 2> m_labRange = {Interval{-100, 100}, Interval{-100, 100}};
};
