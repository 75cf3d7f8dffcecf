#include "ui/lightpalette.h"

namespace
{

struct RoleColor {
    QPalette::ColorRole role;
    QRgb color;
};

constexpr QRgb ink = 0xff1a1f24;
constexpr QRgb faded = 0xff6b7680;

constexpr RoleColor lightColors[] = {
    // Covered by an image, but the style derives the colours of frames from it.
    {QPalette::Window, 0xfff0f2f4},
    {QPalette::WindowText, ink},
    {QPalette::Text, ink},
    {QPalette::ButtonText, ink},
    {QPalette::BrightText, 0xffffffff},
    {QPalette::PlaceholderText, faded},
    {QPalette::Base, 0xffffffff},
    {QPalette::AlternateBase, 0xfff5f7f9},
    {QPalette::Button, 0xfff0f2f4},
    {QPalette::Light, 0xffffffff},
    {QPalette::Midlight, 0xfff7f8f9},
    {QPalette::Mid, 0xffb4babf},
    {QPalette::Dark, 0xff9aa1a7},
    {QPalette::Shadow, 0xff6f767c},
    {QPalette::Highlight, 0xff3f51c8},
    {QPalette::HighlightedText, 0xffffffff},
    {QPalette::Link, 0xff2438b8},
    {QPalette::LinkVisited, 0xff6a2a9c},
};

} // namespace

QPalette lightPalette(QPalette desktop)
{
    for (const RoleColor &entry : lightColors)
        desktop.setColor(entry.role, QColor::fromRgb(entry.color));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        desktop.setColor(QPalette::Disabled, role, QColor::fromRgb(faded));
    return desktop;
}
