#include "platform/x11/VirtualKeys.h"

namespace platform::x11 {
namespace {

// Sources: the virtual keys are the platform's own codes, which do not depend on the hardware
// (HIToolbox/Events.h, kVK_ANSI_A and following); the names are those of xkeyboard-config, keycodes/evdev.
//
// Where PC keyboards have another key in the same place, it is that one: Clear is Num Lock, Help is Insert,
// Option is Alt and Command the key with the logo; of a JIS keyboard Eisu is Muhenkan, Kana is
// Hiragana/Katakana; F13 to F15 are Print Screen, Scroll Lock and Pause, which every keyboard has.
constexpr VirtualKey kVirtualKeys[] = {
    // clang-format off
    {0, {"AC01"}}, {1, {"AC02"}}, {2, {"AC03"}}, {3, {"AC04"}}, {4, {"AC06"}}, {5, {"AC05"}},  // A S D F H G
    {6, {"AB01"}}, {7, {"AB02"}}, {8, {"AB03"}}, {9, {"AB04"}},                                // Z X C V
    {10, {"LSGT"}},                                                       // the ISO key beside the left Shift
    {11, {"AB05"}},                                                                            // B
    {12, {"AD01"}}, {13, {"AD02"}}, {14, {"AD03"}}, {15, {"AD04"}}, {16, {"AD06"}}, {17, {"AD05"}},  // Q W E R Y T
    {18, {"AE01"}}, {19, {"AE02"}}, {20, {"AE03"}}, {21, {"AE04"}}, {22, {"AE06"}}, {23, {"AE05"}},  // 1 2 3 4 6 5
    {24, {"AE12"}}, {25, {"AE09"}}, {26, {"AE07"}}, {27, {"AE11"}}, {28, {"AE08"}}, {29, {"AE10"}},  // = 9 7 - 8 0
    {30, {"AD12"}}, {31, {"AD09"}}, {32, {"AD07"}}, {33, {"AD11"}}, {34, {"AD08"}}, {35, {"AD10"}},  // ] O U [ I P
    {36, {"RTRN"}},
    {37, {"AC09"}}, {38, {"AC07"}}, {39, {"AC11"}}, {40, {"AC08"}}, {41, {"AC10"}},            // L J ' K ;
    {42, {"BKSL", "AC12"}},
    {43, {"AB08"}}, {44, {"AB10"}}, {45, {"AB06"}}, {46, {"AB07"}}, {47, {"AB09"}},            // , / N M .
    {48, {"TAB"}}, {49, {"SPCE"}}, {50, {"TLDE"}}, {51, {"BKSP"}}, {53, {"ESC"}},
    {54, {"RWIN", "RMTA"}}, {55, {"LWIN", "LMTA"}}, {56, {"LFSH"}}, {kVirtualCapsLock, {"CAPS"}},
    {58, {"LALT"}}, {59, {"LCTL"}}, {60, {"RTSH"}}, {61, {"RALT"}}, {62, {"RCTL"}},
    {64, {"FK17"}},
    {65, {"KPDL"}}, {67, {"KPMU"}}, {69, {"KPAD"}}, {kVirtualNumLock, {"NMLK"}},
    {72, {"VOL+"}}, {73, {"VOL-"}}, {74, {"MUTE"}},
    {75, {"KPDV"}}, {76, {"KPEN"}}, {78, {"KPSU"}},
    {79, {"FK18"}}, {80, {"FK19"}},
    {81, {"KPEQ"}}, {82, {"KP0"}}, {83, {"KP1"}}, {84, {"KP2"}}, {85, {"KP3"}}, {86, {"KP4"}}, {87, {"KP5"}},
    {88, {"KP6"}}, {89, {"KP7"}},
    {90, {"FK20"}},
    {91, {"KP8"}}, {92, {"KP9"}},
    {93, {"AE13"}}, {94, {"AB11"}}, {95, {"JPCM", "I129"}},                                    // JIS: yen, underscore, keypad comma
    {96, {"FK05"}}, {97, {"FK06"}}, {98, {"FK07"}}, {99, {"FK03"}}, {100, {"FK08"}}, {101, {"FK09"}},
    {102, {"MUHE", "HJCV"}},
    {103, {"FK11"}},
    {104, {"HKTG", "HNGL"}},
    {105, {"PRSC", "FK13"}}, {106, {"FK16"}}, {107, {"SCLK", "FK14"}}, {109, {"FK10"}},
    {110, {"COMP", "MENU"}},
    {111, {"FK12"}}, {113, {"PAUS", "FK15"}},
    {114, {"INS", "HELP"}}, {115, {"HOME"}}, {116, {"PGUP"}}, {117, {"DELE"}},
    {118, {"FK04"}}, {119, {"END"}}, {120, {"FK02"}}, {121, {"PGDN"}}, {122, {"FK01"}},
    {123, {"LEFT"}}, {124, {"RGHT"}}, {125, {"DOWN"}}, {126, {"UP"}},
    // clang-format on
};

}  // namespace

std::span<const VirtualKey> VirtualKeys() { return kVirtualKeys; }

}  // namespace platform::x11
