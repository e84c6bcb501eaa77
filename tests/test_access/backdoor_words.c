// Calls the test-access object from C99 through the words of its table. On Windows it is the object
// of the finished DLL, after link-time optimisation. Writes to the current folder.
#include <stdio.h>
#include <string.h>

#include "system/slots.h"

typedef void (*Word)(void);

static const Word* words;
static Backdoor* object;

// An operation's result, given the slot, the result's type, the arguments' types and the arguments.
#define CALL(slot, result, types, ...) (((result(*) types)words[slot])(object, __VA_ARGS__))
#define WITH_INT (Backdoor*, int32_t)
#define WITH_TEXT (Backdoor*, const char*)

static int32_t TakeNothing(const uint8_t* data, size_t length) {
  return data == NULL && length == 0;
}

static bool IsText(const char* text, const char* expected) {
  return text != NULL && strcmp(text, expected) == 0;
}

static void MakeParts(void) {
  CHECK(((int32_t (*)(Backdoor*))words[0])(object) == 1);
  CHECK(CALL(1, int32_t, (Backdoor*, const char*, const char*), "P", "1") == 1);
  CALL(2, void, WITH_TEXT, "BackdoorWords");
  CALL(3, void, WITH_TEXT, ".");
  CHECK(CALL(5, int32_t, (Backdoor*, int32_t, int32_t), 0, 0) == 1);
  CHECK(((int32_t (*)(Backdoor*))words[6])(object) == 1);
  CHECK(CALL(7, int32_t, (Backdoor*, const char*, const char*, const char*), "P", "1", "x") == 2);
  CHECK(CALL(8, int32_t, (Backdoor*, const char*, const char*, const char*, int32_t), "P", "1", "x",
             1) == 1);
  CHECK(strlen(CALL(9, const char*, WITH_INT, 2)) == 40);
  CHECK(CALL(13, int32_t, WITH_TEXT, "BackdoorWords_") == 1);
}

static void UseParts(void) {
  const char* file = CALL(15, const char*, WITH_INT, 1);
  CHECK(file != NULL && strstr(file, "TsBackdoorWords") != NULL);
  CHECK(CALL(4, int32_t, (Backdoor*, int32_t, int32_t), 0, 0) == 0);
  CHECK(CALL(12, int32_t, (Backdoor*, int32_t, const char*, const char*, int32_t), 6, "n", "2.5",
             1) == 1);
  CHECK(IsText(CALL(11, const char*, (Backdoor*, int32_t, const char*), 6, "n"), "2.5"));
  CHECK(IsText(CALL(11, const char*, (Backdoor*, int32_t, const char*), 8, ""), "BackdoorWords_"));
  CHECK(CALL(14, int32_t, WITH_INT, 2) == 1);
  CHECK(CALL(14, int32_t, WITH_INT, 5) == 1);
  CHECK(CALL(18, int32_t, (Backdoor*, int32_t, int32_t), 2, 0) == 0);
  CHECK(CALL(19, int32_t, (Backdoor*, int32_t, const char*, const char*), 1, "k", "\"v\"") == 1);
  CHECK(IsText(CALL(11, const char*, (Backdoor*, int32_t, const char*), 2, "k"), "v"));
}

static void UseProcess(void) {
  CALL(10, void, (Backdoor*, int32_t (*)(const uint8_t*, size_t)), TakeNothing);
  CALL(10, void, (Backdoor*, int32_t (*)(const uint8_t*, size_t)), NULL);
  CALL(16, void,
       (Backdoor*, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, int32_t),
       1, 2, 3, 4, 5, 6, 7, 8, 9);
  CALL(17, void, WITH_INT, 0);
  CALL(20, void, WITH_TEXT, "null://");
  CHECK(CALL(21, const char*, (Backdoor*, const char*, const char*), "null://", "") == NULL);
  CHECK(IsText(CALL(22, const char*,
                    (Backdoor*, const char*, const char*, const char*, const char*, const char*,
                     const char*),
                    "", "TAV_UNSET_VARIABLE", "", "external", "internal", "development"),
               "external"));
}

int main(void) {
  const Slots tav = SlotsByPosition(LoadEntryTable(13));
  object = tav.CreateBackdoor();
  CHECK(object != NULL);
  if (object != NULL) {
    memcpy(&words, object, sizeof words);
    MakeParts();
    UseParts();
    UseProcess();
    CALL(2, void, WITH_TEXT, "");
    CALL(3, void, WITH_TEXT, "");
    CALL(23, void, WITH_INT, 0);
    CHECK(CALL(14, int32_t, WITH_INT, 2) == -1);
    CALL(23, void, WITH_INT, 1);
  }
  tav.Terminate();
  return CheckResult();
}
