// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/wi/console/key_events.h"

#include "runtime/wi/console/changed_cells.h"
#include "tests/support/support.h"

namespace marigold::inner::test {
namespace {

constexpr std::uint32_t kMain = kEventEnhanced;
constexpr std::uint32_t kLeftAlt = 0x2;
constexpr std::uint32_t kAltGr = 0x9;  // the right Alt key, and Control on the left
constexpr std::uint32_t kRightControl = 0x4;

enum Code : std::uint16_t {
  kCancel = 0x03,
  kBack = 0x08,
  kTabCode = 0x09,
  kAlt = 0x12,
  kEndCode = 0x23,
  kHomeCode = 0x24,
  kLeftCode = 0x25,
  kDeleteCode = 0x2E,
  kKeypadOne = 0x61,
  kF1Code = 0x70,
  kF10Code = 0x79,
  kF12Code = 0x7B,
  kPacket = 0xE7,
};

std::string keys_of(std::initializer_list<KeyEvent> events) {
  KeyEventDecoder decoder;
  for (const KeyEvent& event : events)
    decoder.feed(event);
  std::string keys;
  while (decoder.has_key())
    keys += static_cast<char>(decoder.take());
  return keys;
}

}  // namespace

TEST(KeyEventsTest, KeysWithoutACharacter) {
  const std::tuple<KeyEvent, std::string> rows[] = {
      {{.key = kHomeCode, .modifiers = kMain}, "\xe0G"},
      {{.key = kHomeCode, .modifiers = kMain | kEventShift}, "\xe0G"},
      {{.key = kHomeCode, .modifiers = kMain | kRightControl}, "\xe0w"},
      {{.key = kHomeCode, .modifiers = kMain | kLeftAlt}, "\xe0G"},
      {{.repeats = 3, .key = kLeftCode, .modifiers = kMain}, "\xe0K\xe0K\xe0K"},
      {{.repeats = 0, .key = kDeleteCode, .modifiers = kMain}, "\xe0S"},
      {{.is_down = false, .key = kLeftCode, .modifiers = kMain}, ""},
      {{.key = kHomeCode}, "\0G"s},  // on the keypad
      {{.key = kHomeCode, .modifiers = kRightControl}, "\0w"s},
      {{.key = kF1Code}, "\0;"s},
      {{.key = kF1Code, .modifiers = kEventShift}, "\0T"s},
      {{.key = kF1Code, .modifiers = kRightControl | kEventShift}, "\0^"s},
      {{.key = kF10Code}, "\0D"s},
      {{.key = kF12Code}, "\xe0\x86"},
      {{.key = kTabCode, .character = '\t', .modifiers = kEventShift}, "\0\x0f"s},
      {{.key = '2', .modifiers = kRightControl}, "\0\x03"s},
      {{.key = kAlt, .modifiers = kLeftAlt}, ""},
      {{.key = kCancel, .character = 3, .modifiers = kRightControl}, ""}};
  for (const auto& [event, keys] : rows)
    EXPECT_EQ(keys_of({event}), keys) << event.key << " " << event.modifiers;
}

TEST(KeyEventsTest, Characters) {
  const std::tuple<KeyEvent, std::string> rows[] = {
      {{.repeats = 2, .key = 'A', .character = 'a'}, "aa"},
      {{.key = 'A', .character = 'a', .modifiers = kLeftAlt}, "a"},
      {{.key = 'Q', .character = '@', .modifiers = kAltGr}, "@"},
      {{.key = 'C', .character = 3, .modifiers = kRightControl}, "\x03"},
      {{.key = kTabCode, .character = '\t'}, "\t"},
      {{.key = kBack, .character = 127, .modifiers = kRightControl}, "\b"},
      {{.character = u'\u00E4'}, "\x84"},
      {{.character = u'\u00E0'}, "\x85"},        // 224 elsewhere
      {{.character = u'\u03B1'}, ""},            // 224 here, a prefix
      {{.character = u'\u00A7'}, "\x15"},        // the section sign
      {{.character = u'\u263A'}, ""},            // a byte of a control character
      {{.character = u'\u20AC'}, ""},            // no byte
      {{.key = kPacket, .character = 'x'}, "x"}  // pasted
  };
  for (const auto& [event, keys] : rows)
    EXPECT_EQ(keys_of({event}), keys) << static_cast<int>(event.character);
  EXPECT_EQ(keys_of({{.character = 0xD83D}, {.character = 0xDE00}, {.character = 'x'}}), "x");
  // Alt and 1 4 1 on the keypad, with and without Num Lock; the digits are no keys.
  for (const std::uint16_t digit : {kKeypadOne, kEndCode}) {
    EXPECT_EQ(keys_of({{.key = kAlt, .modifiers = kLeftAlt},
                       {.key = digit, .modifiers = kLeftAlt},
                       {.is_down = false, .key = digit, .modifiers = kLeftAlt},
                       {.is_down = false, .key = kAlt, .character = u'\u00EC'}}),
              "\x8d");
  }
}

TEST(ChangedCellsTest, TheRegionHasEveryChange) {
  const struct {
    std::vector<std::size_t> changed;
    CellRegion region;
  } rows[] = {{{0}, {0, 0, 0, 0}},
              {{1919}, {79, 23, 79, 23}},
              {{81, 245}, {1, 1, 5, 3}},
              {{85, 241, 400}, {0, 1, 5, 5}}};
  const ConsoleBuffer shown{};
  EXPECT_TRUE(changed_cells(shown, shown).is_empty());
  for (const auto& [changed, region] : rows) {
    ConsoleBuffer wanted{};
    for (const std::size_t index : changed)
      wanted[index].colour = kColourReverse;
    EXPECT_EQ(changed_cells(shown, wanted), region);
  }
}

}  // namespace marigold::inner::test
