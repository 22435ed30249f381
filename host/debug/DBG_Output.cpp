#include "debug/DBG_Output.h"

namespace {

template <class Entry, std::size_t size>
constexpr int entries(Entry const (&/*table*/)[size]) {
    return static_cast<int>(size);
}

} // namespace

std::string const DBG_Output::directionToStr[] = {"none", "in", "out"};
int const DBG_Output::directionToStrMAX = entries(directionToStr);

std::string const DBG_Output::codecToStr[] = {"none",    "G.711 A-law", "G.711 mu-law",
                                              "G.723.1", "G.729",       "G.729A"};
int const DBG_Output::codecToStrMAX = entries(codecToStr);

// The values stand without their unit, which the texts add.
DBG_Output::FramingName const DBG_Output::framingToStr[] = {
    {VCOM_FRAMING_10, "10"},   {VCOM_FRAMING_20, "20"},   {VCOM_FRAMING_30, "30"},
    {VCOM_FRAMING_40, "40"},   {VCOM_FRAMING_50, "50"},   {VCOM_FRAMING_60, "60"},
    {VCOM_FRAMING_70, "70"},   {VCOM_FRAMING_80, "80"},   {VCOM_FRAMING_90, "90"},
    {VCOM_FRAMING_100, "100"}, {VCOM_FRAMING_110, "110"}, {VCOM_FRAMING_120, "120"},
    {VCOM_FRAMING_130, "130"}, {VCOM_FRAMING_140, "140"}, {VCOM_FRAMING_150, "150"},
    {VCOM_FRAMING_NONE, ""}};
