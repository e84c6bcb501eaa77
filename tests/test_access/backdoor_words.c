// Calls the test-access object from C99 through the words of its table. On Windows it is the object
// of the finished DLL, after link-time optimisation. Writes to the current folder.
#include <stdio.h>
#include <string.h>

#include "system/slots.h"

typedef void (*Word)(void);

// An operation's result, given the slot, the result's type, the arguments' types and the arguments.
#define CALL(slot, result, types, ...) (((result(*) types)words[slot])(object, __VA_ARGS__))
#define WITH_INT (Backdoor*, int32_t)
#define WITH_TEXT (Backdoor*, const char*)
#define WITH_KEY (Backdoor*, int32_t, const char*)

static bool IsText(const char* text, const char* expected) {
  return text != NULL && strcmp(text, expected) == 0;
}

static void CallWords(Backdoor* object, const Word* words) {
  CHECK(CALL(1, int32_t, (Backdoor*, const char*, const char*), "P", "1") == 1);
  CALL(2, void, WITH_TEXT, "BackdoorWords");
  CALL(3, void, WITH_TEXT, ".");
  const char* file = CALL(15, const char*, WITH_INT, 1);
  CHECK(file != NULL && strstr(file, "TsBackdoorWords") != NULL);
  CHECK(CALL(5, int32_t, (Backdoor*, int32_t, int32_t), 0, 0) == 1);
  CHECK(CALL(8, int32_t, (Backdoor*, const char*, const char*, const char*, int32_t), "P", "1", "x",
             1) == 1);
  CHECK(CALL(12, int32_t, (Backdoor*, int32_t, const char*, const char*, int32_t), 6, "n", "2.5",
             1) == 1);
  CHECK(IsText(CALL(11, const char*, WITH_KEY, 6, "n"), "2.5"));
  CHECK(strlen(CALL(9, const char*, WITH_INT, 2)) == 40);
  CHECK(CALL(13, int32_t, WITH_TEXT, "BackdoorWords_") == 1);
  CHECK(IsText(CALL(11, const char*, WITH_KEY, 8, ""), "BackdoorWords_"));
  CHECK(CALL(4, int32_t, (Backdoor*, int32_t, int32_t), 0, 0) == 0);
  CHECK(CALL(14, int32_t, WITH_INT, 5) == 1);
  CHECK(CALL(19, int32_t, (Backdoor*, int32_t, const char*, const char*), 1, "k", "\"v\"") == 1);
  CHECK(IsText(CALL(11, const char*, WITH_KEY, 2, "k"), "v"));
  CALL(16, void,
       (Backdoor*, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t),
       1, 2, 3, 4, 5, 6, 7, 8, 9);
  CHECK(CALL(21, const char*, (Backdoor*, const char*, const char*), "null://", "") == NULL);
  CHECK(IsText(CALL(22, const char*,
                    (Backdoor*, const char*, const char*, const char*, const char*, const char*,
                     const char*),
                    "", "TAV_UNSET_VARIABLE", "", "external", "internal", "development"),
               "external"));
  CALL(2, void, WITH_TEXT, "");
  CALL(3, void, WITH_TEXT, "");
  CALL(23, void, WITH_INT, 0);
  CHECK(CALL(14, int32_t, WITH_INT, 2) == -1);
  CALL(23, void, WITH_INT, 1);
}

int main(void) {
  const Slots tav = SlotsByPosition(LoadEntryTable(13));
  Backdoor* const object = tav.CreateBackdoor();
  CHECK(object != NULL);
  if (object != NULL) {
    const Word* words = NULL;
    memcpy(&words, object, sizeof words);
    CallWords(object, words);
  }
  tav.Terminate();
  return CheckResult();
}
