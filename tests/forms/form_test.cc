// SPDX-License-Identifier: GPL-3.0-or-later
// Forms: tests type keys and look at the record, the variables and the screens afterwards.
#include "marigold/forms.h"

#include "runtime/platform/clock.h"
#include "runtime/texte/texte.h"
#include "tests/data/support.h"
#include "tests/support/watched_session.h"

namespace marigold::inner::test {
namespace {

using enum FormFieldKind;

constexpr FormChoice kKinds[] = {{"Private", "p"}, {"Trade", "t"}, {"Town", "s"}};

const char* even_zone(Form& form, const FormField& field) {
  return static_cast<int>(form_number(form, field.field)) % 2 == 0 ? nullptr : "ZONE_ODD";
}

// As a list over the same file does, this leaves another record in the buffer.
void choose_name(Form& form, const FormField& field) {
  fill(*form.file, 77, "other");
  form_put_text(form, field.field, "new " + form_text(form, "NAME").substr(0, 2));
}

void rate_of_name(Form& form, const FormField& field) {
  form_put_number(form, "RATE", static_cast<double>(form_text(form, field.field).size()));
}

void compute_double(Form& form, const FormField& field) {
  form_put_number(form, field.name, form_number(form, "RATE") * 2);
}

struct FormTest : DataTest {
  FormTest() {
    EXPECT_EQ(data_open(file, LockWait::kTell), kDataDone);
    start_values();
    form.fields = fields;
    form.file = &file;
    recording().type(kEscape);
    form_run(form);
  }

  void start_values() {
    fill(file, 5, "Huber");
    data_put_integer(file, "ZONE", 6, 2);
    data_put_text(file, "KIND", "t");
    data_put_long(file, "SINCE", 141126);
    call = 930;
    wants_post = true;
    remark = "";
  }

  // Types the keys into the form and returns what form_run returns.
  int type(const std::string& keys) {
    recording().type(keys);
    const int code = form_run(form);
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_FALSE(recording().keyboard_lost);
    EXPECT_EQ(wi_active(), session.window);
    EXPECT_EQ(screen_text_now(), before);
    return code;
  }

  // The record and the variables, as far as forms change them.
  std::string values() {
    return std::to_string(data_get_long(file, "SNR")) + "|" + data_get_text(file, "NAME") + "|" +
           std::to_string(data_get_integer(file, "ZONE", 2)) + "|" +
           edit_number("-##0,000", data_get_double(file, "RATE")) + "|" +
           data_get_text(file, "KIND") + "|" + std::to_string(data_get_long(file, "SINCE")) + "|" +
           std::to_string(call) + "|" + (wants_post ? "yes" : "no") + "|" + remark;
  }

  DataFile& file = data_file("CUSTOMER");
  WatchedSession session;
  std::string before = screen_text_now();
  std::int32_t call = 930;
  bool wants_post = true;
  std::string remark;
  // clang-format off
  std::vector<FormField> fields = {
      {.label = "Number", .row = 2, .column = 12, .kind = kNumber, .field = "SNR", .mask = "####0",
       .read_only = true},
      {.label = "Name:", .row = 3, .column = 12, .field = "NAME", .required = true,
       .choose = choose_name},
      {.label = "Zone", .row = 4, .column = 12, .kind = kNumber, .field = "ZONE", .element = 2,
       .mask = "-####0", .check = even_zone},
      {.label = "Rate", .row = 5, .column = 12, .kind = kNumber, .field = "RATE",
       .mask = "-##0,00", .least = -10, .most = 500},
      {.label = "Twice", .label_column = 24, .row = 5, .column = 30, .kind = kNumber,
       .name = "DOUBLE", .mask = "-##0,00", .compute = compute_double},
      {.label = "Kind", .row = 6, .column = 12, .kind = kChoice, .field = "KIND",
       .choices = kKinds},
      {.label = "Since", .row = 7, .column = 12, .kind = kDate, .field = "SINCE", .least = 10120},
      {.label = "Call", .label_column = 24, .row = 7, .column = 30, .kind = kTime,
       .variable = &call},
      {.label = "Post", .row = 8, .column = 12, .kind = kYesNo, .variable = &wants_post},
      {.heading = "Remark", .row = 9, .column = 12, .width = 6, .variable = &remark, .least = 2,
       .most = 9},
      {.label = "Remark", .row = 9, .column = 2, .kind = kLabel}};
  // clang-format on
  Form form{.title = "Customer", .row = 6, .column = 5, .height = 12, .width = 60};
};

TEST_F(FormTest, AllFieldsAreVisibleFromTheStart) {
  for (const char* shown : {"\xB3 Customer ", "\xB3 Number        5 ", "\xB3 Name:     Huber     ",
                            "\xB3 Zone           6 ", "\xB3 Rate         2,50     Twice    5,00 ",
                            "\xB3 Kind      Trade  ", "\xB3 Since     14.11.26    Call  09:30 ",
                            "\xB3 Post      YES", "\xB3 Remark          "})
    EXPECT_TRUE(was_shown(shown)) << shown << screen_text(screens.back());
}

TEST_F(FormTest, KeysEditAndMove) {
  const std::string end = kPageDown;
  const struct {
    std::string keys;
    std::string values;
    int code = kKeyEnter;
  } cases[] = {
      {end, "5|Huber|6|   2,500|t|141126|930|yes|"},
      {kEscape, "5|Huber|6|   2,500|t|141126|930|yes|", kKeyEscape},
      {kControlHome, "5|Huber|6|   2,500|t|141126|930|yes|", kKeyStart},
      // Enter goes from field to field; in the last one it accepts.
      {std::string(8, '\r'), "5|Huber|6|   2,500|t|141126|930|yes|"},
      {kEnd + "t" + kHome + "S" + end, "5|SHubert|6|   2,500|t|141126|930|yes|"},
      {kInsert + "K" + kRight + "x" + end, "5|Kuxer|6|   2,500|t|141126|930|yes|"},
      // The mode stays for the next field; a number begins again with its first character.
      {kInsert + kTabKey + "1" + kBack + "12" + kTabKey + "33" + end,
       "5|Huber|12|  33,000|t|141126|930|yes|"},
      {kTabKey + kRight + "4" + end, "5|Huber|64|   2,500|t|141126|930|yes|"},
      {kTabKey + "-4" + kShiftTab + kDelete + end, "5|uber|-4|   2,500|t|141126|930|yes|"},
      {kShiftTab + "good" + kTabKey + "A" + end, "5|AHuber|6|   2,500|t|141126|930|yes|good"},
      {kDown + kDown + "1,25" + kUp + "8" + end, "5|Huber|8|   1,250|t|141126|930|yes|"},
      {kDown + kDown + "12.5" + end, "5|Huber|6|  12,500|t|141126|930|yes|"},
      // Down goes to the nearest field of the row below, Up stays in the first row.
      {kUp + kDown + kDown + kDown + kDown + kTabKey + "8:05" + kUp + "p" + end,
       "5|Huber|6|   2,500|p|141126|805|yes|"},
      {kUp + "x" + end, "5|xHuber|6|   2,500|t|141126|930|yes|"},
      {kDown + kDown + kDown + "t" + end, "5|Huber|6|   2,500|s|141126|930|yes|"},
      {kDown + kDown + kDown + "tt" + kLeft + " " + kRight + end,
       "5|Huber|6|   2,500|s|141126|930|yes|"},
      {kDown + kDown + kDown + kHome + end, "5|Huber|6|   2,500|p|141126|930|yes|"},
      {kDown + kDown + kDown + kDelete + end, "5|Huber|6|   2,500||141126|930|yes|"},
      {kDown + kDown + kDown + function_key(4) + kDown + kEnter + end,
       "5|Huber|6|   2,500|t|141126|930|yes|"},
      {kDown + kDown + kDown + function_key(4) + kEscape + end,
       "5|Huber|6|   2,500|t|141126|930|yes|"},
      {kShiftTab + kShiftTab + "n" + end, "5|Huber|6|   2,500|t|141126|930|no|"},
      {function_key(4) + kEscape + kRight + kEnter, "5|Huber|6|   2,500|t|141126|930|yes|",
       kKeyEscape},
      {function_key(4) + end, "5|new Hu|6|   2,500|t|141126|930|yes|"},
      {"Zz" + function_key(4) + end, "5|new Zz|6|   2,500|t|141126|930|yes|"},
  };
  for (const auto& [keys, expected, code] : cases) {
    SCOPED_TRACE(keys);
    EXPECT_EQ(type(keys), code);
    EXPECT_EQ(values(), expected);
    start_values();
  }
}

// Each row: keys that lead to a message, the message, keys after it.
TEST_F(FormTest, AFieldThatFailsIsNamedAndEnteredAgain) {
  const std::string erase = kEnd + std::string(10, '\b');
  const struct {
    std::string keys;
    const char* message;
    std::string then;
    std::string values;
  } cases[] = {
      // The message of a check; the next character goes into the same field.
      {kDown + "7" + kEnter, "Zone: ZONE_ODD", "8", "5|Huber|8|   2,500|t|141126|930|yes|"},
      {kDown + "7" + kUp, "Zone: ZONE_ODD", "8", "5|Huber|8|   2,500|t|141126|930|yes|"},
      {kDown + "99998" + kTabKey, "Zone: at least -32768, at most 32767", "8",
       "5|Huber|8|   2,500|t|141126|930|yes|"},
      {kDown + "4-4" + kTabKey, "Zone: this is no number that fits here", erase + "8",
       "5|Huber|8|   2,500|t|141126|930|yes|"},
      // A required field may be empty until the form is accepted from another field.
      {erase + kDown + kDown + kPageDown, "Name: please fill this in", "x",
       "5|x|6|   2,500|t|141126|930|yes|"},
      {erase + "   " + kPageDown, "Name: please fill this in", kEnd + "x",
       "5|x|6|   2,500|t|141126|930|yes|"},
      {kDown + kDown + "501" + kDown, "Rate: at least -10,00, at most 500,00", "1",
       "5|Huber|6|   1,000|t|141126|930|yes|"},
      {std::string(4, '\t') + "310226" + kTabKey, "Since: this is no date", "1.2.26",
       "5|Huber|6|   2,500|t|10226|930|yes|"},
      {std::string(4, '\t') + "311219" + kTabKey, "Since: at least 01.01.20", "010120",
       "5|Huber|6|   2,500|t|10120|930|yes|"},
      {std::string(5, '\t') + "24:00" + kTabKey, "Call: this is no time", "9",
       "5|Huber|6|   2,500|t|141126|900|yes|"},
      {std::string(5, '\t') + "0960" + kTabKey, "Call: this is no time", "1234",
       "5|Huber|6|   2,500|t|141126|1234|yes|"},
      {kShiftTab + "a" + kTabKey, "Remark: at least 2, at most 9 characters", kEnd + "b",
       "5|Huber|6|   2,500|t|141126|930|yes|ab"},
      {kShiftTab + "1234567890", "field length exceeded", "",
       "5|Huber|6|   2,500|t|141126|930|yes|123456789"},
  };
  for (const auto& [keys, message, then, expected] : cases) {
    SCOPED_TRACE(message);
    screens.clear();
    EXPECT_EQ(type(keys + "?" + then + kPageDown), kKeyEnter);
    EXPECT_TRUE(was_shown("\n"s + message)) << screen_text(screens.back());
    EXPECT_EQ(values(), expected);
    start_values();
  }
}

TEST_F(FormTest, ValuesThatDoNotFitAreShownSoAndKept) {
  data_put_double(file, "RATE", 12345.678);
  data_put_text(file, "KIND", "z");
  data_put_long(file, "SINCE", 1411);
  call = 123456;
  remark = "fourteen chars";
  file.record[4 + 9] = 'x';  // after the end of the name
  fields[3].most = 1e6;
  fields[6].least = kFormNoLeast;
  // The unknown choice and the impossible time must be mended, the number need not; the long text
  // must be shortened.
  EXPECT_EQ(type(kShiftTab + kEnd + "!?" + kEnter + "?" + "T" + kPageDown + "?" + "10" + kPageDown +
                 "?" + kEnd + std::string(5, '\b') + kPageDown),
            kKeyEnter);
  for (const char* shown :
       {"Rate      *******", "Kind      z ", "Since        14.11 ", "Call  *****",
        "Remark    fourt>", "\nfield length exceeded", "\nRemark: at least 2, at most 9 characters",
        "\nKind: this is none of the choices", "\nCall: this is no time"})
    EXPECT_TRUE(was_shown(shown)) << shown;
  EXPECT_EQ(values(), "5|Huber|6|********|t|1411|1000|yes|fourteen");
  EXPECT_EQ(data_get_double(file, "RATE"), 12345.678);
  EXPECT_EQ(file.record[4 + 9], 'x');
}

FormNext program_key(Form& form, const FormField* current, int code) {
  *static_cast<std::string*>(form.context) +=
      std::to_string(code - kKeyF1 + 1) + current->field + " " + form_text(form, "NAME") + ";";
  if (code == kKeyF9) return FormNext::kAccept;
  if (code == kKeyF6) form_put_text(form, "NAME", "put");
  return code == kKeyF8 ? FormNext::kLeave : FormNext::kStay;
}

TEST_F(FormTest, TheProgramServesFunctionKeysAndChangesAreNotLostUnasked) {
  std::string served;
  form.context = &served;
  form.key = program_key;
  form.accept_key = kKeyF2;
  form.help_key = "_FORM_";
  fields[1].help_key = "_NAME_";
  const std::string same = "5|Huber|6|   2,500|t|141126|930|yes|";
  const std::string changed = "5|xHuber|6|   2,500|t|141126|930|yes|";
  const auto key = [](int number) { return function_key(number); };
  const struct {
    std::string keys;
    int code;
    std::string values;
    std::string served = "";
  } cases[] = {
      {"x" + key(2), kKeyEnter, changed},
      {"x" + key(3) + kTabKey + key(9), kKeyF9, changed, "3NAME xHuber;17ZONE xHuber;"},
      {"x" + key(8), kKeyF8, same, "8NAME xHuber;"},
      {key(6) + kEnd + "!" + key(2), kKeyEnter, "5|put!|6|   2,500|t|141126|930|yes|",
       "6NAME Huber;"},
      // F4 is the program's where there is nothing to choose.
      {kDown + key(4) + "5" + key(9) + "?" + kEscape + kRight + kEnter, kKeyEscape, same,
       "4ZONE Huber;17ZONE Huber;"},
      // Escape, and in the question again, stays; the second answer discards.
      {"x" + kEscape + kEscape + kEscape + kEnter + kPageDown, kKeyEnter, changed},
      {"x" + kEscape + kRight + kEnter, kKeyEscape, same},
      {"x" + kDown + kControlHome + kRight + kEnter, kKeyStart, same},
      {"x" + kBack + kEscape, kKeyEscape, same},
      {kHelp + "?" + key(1) + "?" + kDown + key(1) + "?" + kEscape, kKeyEscape, same},
  };
  for (const auto& [keys, code, expected, expected_served] : cases) {
    SCOPED_TRACE(keys);
    served.clear();
    EXPECT_EQ(type(keys), code);
    EXPECT_EQ(values(), expected);
    EXPECT_EQ(served, expected_served);
    start_values();
  }
  for (const char* shown : {"Your changes would be lost.               continue  quit ",
                            "No help available: _NAME_", "No help available: _FORM_"})
    EXPECT_TRUE(was_shown(shown)) << shown;
}

// What somebody else does to record 5 while the user types.
struct Meanwhile {
  std::string name;  // "": deletes the record
  int zone;
};

FormNext change_elsewhere(Form& form, const FormField* /*current*/, int /*code*/) {
  const auto& change = *static_cast<const Meanwhile*>(form.context);
  EXPECT_TRUE(elsewhere(
      [](const std::string& name, int zone) {
        DataFile& other = data_file("CUSTOMER");
        data_open(other, LockWait::kTell);
        if (read(other, 5, true, LockWait::kTell) != kDataDone) return false;
        data_put_text(other, "NAME", name);
        data_put_integer(other, "ZONE", static_cast<std::int16_t>(zone), 2);
        return (name.empty() ? data_delete(other) : data_write(other)) == kDataDone;
      },
      change.name, change.zone));
  return FormNext::kStay;
}

TEST_F(FormTest, ChangesOfOthersStayWhenARecordIsEdited) {
  form.key = change_elsewhere;
  const std::string add_x = kEnd + "x" + kPageDown;
  const struct {
    Meanwhile meanwhile;
    std::string keys;
    bool written;
    std::string values;  // stored afterwards
    const char* told = "beneath";
  } cases[] = {
      {{"Huber", 8}, add_x, true, "5|Huberx|8|   2,500|t|141126|930|yes|"},
      {{"Huberx", 6}, add_x, true, "5|Huberx|6|   2,500|t|141126|930|yes|"},
      {{"Maier", 8},
       add_x,
       false,
       "5|Maier|8|   2,500|t|141126|930|yes|",
       "Name: somebody else has changed the same field"},
      {{"", 6}, add_x, false, "not found", "Somebody else has deleted this record."},
      {{"Maier", 8}, kPageDown, false, "5|Maier|8|   2,500|t|141126|930|yes|"},
  };
  for (const auto& [meanwhile, keys, written, expected, told] : cases) {
    SCOPED_TRACE(meanwhile.name + "/" + expected);
    start_values();
    ASSERT_EQ(data_write(file), kDataDone);
    screens.clear();
    Meanwhile change = meanwhile;
    form.context = &change;
    const bool warned = told != std::string("beneath");
    recording().type(function_key(3) + keys + (warned ? "?" : ""));
    EXPECT_EQ(form_edit_record(form), written);
    EXPECT_TRUE(recording().keys.empty());
    EXPECT_TRUE(was_shown(told)) << screen_text(screens.back());
    EXPECT_EQ(read(file, 5) == kDataDone ? values() : "not found", expected);
  }
  // A form in which the user could make another record of this one.
  fields[0].read_only = false;
  EXPECT_EXIT(form_edit_record(form), aborted,
              "Customer: field SNR: it is a part of the primary key.*\nsystem error 3");
}

// The form comes back with what was typed, in the field where the user was.
TEST_F(FormTest, ALockedRecordKeepsWhatWasTyped) {
  start_values();
  ASSERT_EQ(data_write(file), kDataDone);
  OtherProcess holder([] {
    data_open("CUSTOMER", LockWait::kTell);
    return read(data_file("CUSTOMER"), 5, true) == kDataDone;
  });
  static OtherProcess* held;
  held = &holder;
  clock_sleep_hook = [](int) {};
  user_interface().ask_for_lock = [](const char* /*text*/, const char* /*help_key*/) {
    held->kill_it();
    return false;
  };
  recording().type(kDown + "8" + kPageDown + "?" + "2" + kPageDown);
  EXPECT_TRUE(form_edit_record(form));
  EXPECT_TRUE(was_shown("Nothing is changed: somebody else is working"));
  EXPECT_EQ(read(file, 5), kDataDone);
  EXPECT_EQ(values(), "5|Huber|2|   2,500|t|141126|930|yes|");
}

TEST_F(FormTest, ANewRecordReplacesNone) {
  ASSERT_EQ(write(file, 1, "one"), kDataDone);
  data_clear_record(file);
  data_put_text(file, "KIND", "t");
  // The number is known when the record is stored; the one tried first is taken.
  int next = 0;
  const auto take_number = [&] {
    data_put_long(file, "SNR", next++);
    return std::string(next == 1 ? "No number is left." : "");
  };
  recording().type("new" + kPageDown + "?" + kPageDown + "?" + kEscape + kEnter + kEnd + "er" +
                   kPageDown);
  data_put_long(file, "SINCE", 141126);
  EXPECT_TRUE(form_add_record(form, take_number));
  EXPECT_TRUE(recording().keys.empty());
  EXPECT_TRUE(was_shown("No number is left."));
  EXPECT_TRUE(was_shown("There is a record with this key already."));
  EXPECT_TRUE(was_shown("Your changes would be lost."));
  EXPECT_EQ(values(), "2|newer|0|   2,500|t|141126|930|yes|");
  EXPECT_EQ(read(file, 1), kDataDone);
  EXPECT_EQ(data_get_text(file, "NAME"), "one");
  EXPECT_EQ(read(file, 2), kDataDone);
  EXPECT_EQ(data_get_text(file, "NAME"), "newer");
}

TEST_F(FormTest, AChoiceNeedsNoWidthForItsVariable) {
  constexpr FormChoice kWays[] = {{"by post", "post"}, {"by rail", "rail"}};
  std::string way = "post";
  const FormField field = {
      .label = "Way", .row = 2, .column = 10, .kind = kChoice, .variable = &way, .choices = kWays};
  form.fields = {&field, 1};
  EXPECT_EQ(type(kRight + kEnter), kKeyEnter);
  EXPECT_EQ(way, "rail");
}

TEST_F(FormTest, AChangedFieldFillsOthersOnce) {
  fields[1].changed = rate_of_name;
  EXPECT_EQ(type(kEnd + "xx" + kEnter + kPageDown), kKeyEnter);
  EXPECT_TRUE(was_shown("Rate         7,00     Twice   14,00 "));
  EXPECT_EQ(values(), "5|Huberxx|6|   7,000|t|141126|930|yes|");
  // A rate that the user types afterwards stays, also when the form is accepted.
  EXPECT_EQ(type("y" + kEnter + kEnter + "3" + kUp + kUp + kPageDown), kKeyEnter);
  EXPECT_EQ(values(), "5|yHuberxx|6|   3,000|t|141126|930|yes|");
  EXPECT_EQ(type(function_key(4) + kPageDown), kKeyEnter);  // "new yH"
  EXPECT_EQ(values(), "5|new yH|6|   6,000|t|141126|930|yes|");
}

TEST_F(FormTest, TheEndOfTheKeyboardChangesNothing) {
  for (const std::string keys : {"", "x", "x\x1B", "x\0>"}) {
    recording().type(keys);
    EXPECT_EQ(form_run(form), kKeyEscape);
    EXPECT_EQ(values(), "5|Huber|6|   2,500|t|141126|930|yes|");
    EXPECT_EQ(screen_text_now(), before);
    recording().keyboard_lost = false;
  }
}

TEST_F(FormTest, AFormIsShownWithoutTheUser) {
  int window = 0;
  form_show(form, window);
  EXPECT_EQ(wi_active(), window);
  EXPECT_NE(screen_text_now().find("\xB3 Rate         2,50     Twice    5,00 "), std::string::npos);
  int above = 0;
  create_w(above, 8, 15, 3, 20, false);
  p_active_w(above);
  data_put_double(file, "RATE", 4);
  form_show(form, window);
  EXPECT_EQ(wi_active(), above);
  EXPECT_NE(screen_text_now().find("\xB3 Rate         4,00     Twice    8,00 "), std::string::npos);
  p_destroy_w(above);
  p_destroy_w(window);
  terminal_refresh();
  EXPECT_EQ(screen_text_now(), before);
}

TEST_F(FormTest, AStatusLineNeedsAFreeWindow) {
  form.status = "F2 accepts";
  type(kEscape);
  EXPECT_TRUE(was_shown("\n F2 accepts "));
  int taken = 0;
  for (int i = 1; i < kWindows - 1; ++i)
    create_w(taken, 1, 1, 3, 3, false);
  screens.clear();
  type(kEscape);
  EXPECT_FALSE(was_shown("F2 accepts"));
  create_w(taken, 1, 1, 3, 3, false);
  EXPECT_DEATH(form_run(form), "PANIC! No More Windows!\nsystem error 23\n");
}

TEST_F(FormTest, TextsAreInTheLanguageOfTheUser) {
  write_textdb("locale/default/textdb", {{"SHOP.Kind", "Art mit einem langen Namen"},
                                         {"Kind", "never"},
                                         {"Post", "B\xFCro:"},
                                         {"Trade", "H\xE4ndler"},
                                         {"ZONE_ODD", "ungerade"},
                                         {"FORM.REQUIRED", "bitte ausf\xFCllen"},
                                         {"F2 accepts", std::string(90, 'w')}});
  setenv("LANGUAGE_SEARCHPATH", "locale/default/%N", 1);
  settings_read();
  textdb_setup("SHOP");
  form.status = "F2 accepts";
  EXPECT_EQ(type(kDown + "7\r?" + kUp + "?" + kEscape + kRight + kEnter), kKeyEscape);
  EXPECT_EQ(type(kDelete + kDelete + kDelete + kDelete + kDelete + kPageDown + "?" + kEscape +
                 kRight + kEnter),
            kKeyEscape);
  for (const std::string& shown : {"Art mit e>H"s, "B\x81ro: "s, "Zone: ungerade"s,
                                   "Name: bitte ausf\x81llen"s, "\n " + std::string(78, 'w') + ">"})
    EXPECT_TRUE(was_shown(shown)) << shown;
  unsetenv("LANGUAGE_SEARCHPATH");
  txt_start();
}

TEST_F(FormTest, AnErrorOfTheDescriptionIsNamed) {
  const struct {
    FormField field;
    const char* report;
  } cases[] = {
      {{.label = "L", .row = 3, .column = 50, .field = "NAME"},
       "form Customer: field NAME: it does not fit: row 3, columns 50 to 59; the form has rows 2 to "
       "10 and columns 1 to 58\nsystem error 25\n"},
      {{.label = "L", .row = 1, .column = 5, .field = "NAME"},
       "row 1, columns 2 to 2;.*\nsystem error 25\n"},
      {{.label = "L", .row = 11, .column = 5, .width = 3, .variable = &remark},
       "field L: it does not fit.*\nsystem error 25\n"},
      {{.row = 3, .column = 5, .variable = &remark},
       "form Customer: field at row 3, column 5: it has no width, or no mask\nsystem error 25\n"},
      {{.row = 3, .column = 5, .width = 3, .kind = kNumber, .field = "RATE", .mask = "##0,00"},
       "it needs a width of 6 columns\nsystem error 25\n"},
      {{.row = 3, .column = 5, .kind = kNumber, .field = "ZONE", .mask = "0,0"},
       "it stores whole numbers\nsystem error 3\n"},
      {{.row = 3, .column = 5, .field = "STREET"},
       "the data file has no such field\nsystem error 2\n"},
      {{.row = 3, .column = 5, .field = "ZONE", .element = 4},
       "it has no element 4\nsystem error 4\n"},
      {{.row = 3, .column = 5, .kind = kDate, .field = "RATE"},
       "its kind does not take the type of its value\nsystem error 3\n"},
      {{.row = 3, .column = 5, .kind = kChoice, .field = "ZONE", .choices = kKinds},
       "it cannot store the choice p\nsystem error 3\n"},
      {{.row = 3,
        .column = 5,
        .width = 3,
        .variable = &remark,
        .compute = [](Form& of, const FormField&) { form_put_text(of, "NO", ""); }},
       "form Customer: it has no field NO\nsystem error 2\n"},
  };
  for (const auto& [field, report] : cases) {
    form.fields = std::span(&field, 1);
    EXPECT_DEATH(form_run(form), report);
  }
  const struct {
    FormField second;
    const char* report;
  } pairs[] = {
      {{.row = 3, .column = 21, .field = "KIND"}, "field KIND: it lies over another field\n"},
      {{.label = "K", .row = 3, .column = 30, .field = "KIND"},
       "field KIND: its label lies over another one\n"},
      {{.label = "K", .label_column = 13, .row = 3, .column = 30, .field = "KIND"},
       "field KIND: its label lies over a field\n"},
  };
  for (const auto& [second, report] : pairs) {
    const FormField both[] = {{.label = "N", .row = 3, .column = 12, .field = "NAME"}, second};
    form.fields = both;
    EXPECT_DEATH(form_run(form), report);
  }
  form.fields = fields;
  form.row = 14;
  EXPECT_DEATH(form_run(form), "form Customer: its window does not fit the screen\n");
  data_close(file);
  EXPECT_DEATH(form_run(form), "form Customer: its file is not open\nsystem error 101\n");
  EXPECT_DEATH(form_text(form, "NAME"), "form Customer: it does not run\nsystem error 2\n");
}

}  // namespace
}  // namespace marigold::inner::test
