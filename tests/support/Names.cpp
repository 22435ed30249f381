#include "debug/DBG_Output.h"

// In a file of their own, so that a test may put tables of its own in their place.

std::string const DBG_Output::directionToStr[] = {"NONE", "INCOMING", "OUTGOING"};
int const DBG_Output::directionToStrMAX = 3;

std::string const DBG_Output::codecToStr[] = {"CODEC_0", "CODEC_1", "CODEC_2",
                                              "CODEC_3", "CODEC_4", "CODEC_5"};
int const DBG_Output::codecToStrMAX = 6;

// Not in ascending order, so that a search that expects an order is noticed.
DBG_Output::FramingName const DBG_Output::framingToStr[] = {
    {VCOM_FRAMING_20, "20"},   {VCOM_FRAMING_10, "10"},   {VCOM_FRAMING_150, "150"},
    {VCOM_FRAMING_30, "30"},   {VCOM_FRAMING_140, "140"}, {VCOM_FRAMING_40, "40"},
    {VCOM_FRAMING_130, "130"}, {VCOM_FRAMING_50, "50"},   {VCOM_FRAMING_120, "120"},
    {VCOM_FRAMING_60, "60"},   {VCOM_FRAMING_110, "110"}, {VCOM_FRAMING_70, "70"},
    {VCOM_FRAMING_100, "100"}, {VCOM_FRAMING_80, "80"},   {VCOM_FRAMING_90, "90"},
    {VCOM_FRAMING_NONE, ""}};
