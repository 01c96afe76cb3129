// CPF display mask: 11 bare digits <-> 999.999.999-99, by position only.
#include "utilities/B7602041.h"

namespace {

const char kSource[] = "B7602041";
const size_t kBufferSize = B7602041_TAXID_LENGTH + 1;
// Eleven characters of a bare number.
const size_t kBareLength = 11;
const size_t kGroupLength = 3;

}  // namespace

FAMOFLAS_BSFN ID MaskBCPF(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD7602041 lpDS = (LPDSD7602041)lpVoidDS;
  JCHAR szWork[kBufferSize];
  vyrStrcpyFillAndTerminate(szWork, lpDS->szTaxIdNumber, kBufferSize, 0);

  // Four groups of three from the first twelve characters (zero where the
  // input ended: the buffer is zero-filled past its text).
  JCHAR aszGroup[4][kGroupLength];
  for (size_t g = 0; g < 4; ++g)
    for (size_t i = 0; i < kGroupLength; ++i) aszGroup[g][i] = szWork[g * kGroupLength + i];

  vyrStrcpyFillAndTerminate(szWork, u" ", kBufferSize, 0);
  for (size_t i = 0; i < kGroupLength; ++i) {
    szWork[i] = aszGroup[0][i];
    szWork[4 + i] = aszGroup[1][i];
    szWork[8 + i] = aszGroup[2][i];
  }
  szWork[3] = u'.';
  szWork[7] = u'.';
  szWork[11] = u'-';
  // The third character of the last group (the twelfth input character) is read, never written.
  szWork[12] = aszGroup[3][0];
  szWork[13] = aszGroup[3][1];

  vyrStrcpyFillAndTerminate(lpDS->szTaxIdNumber, szWork, kBufferSize, 0);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(MaskBCPF, &DSD7602041_template, "B7602041")

FAMOFLAS_BSFN ID UnMaskBCPF(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  LPDSD7602041 lpDS = (LPDSD7602041)lpVoidDS;
  JCHAR szWork[kBufferSize];
  vyrStrcpyFillAndTerminate(szWork, lpDS->szTaxIdNumber, kBufferSize, 0);

  JCHAR szBare[kBareLength + 1] = {0};
  size_t nFrom = 0;
  for (size_t i = 0; i < kBareLength; ++i) {
    // One separator is stepped over; a second in a row is taken as a character.
    if (nFrom < kBufferSize && (szWork[nFrom] == u'.' || szWork[nFrom] == u'-')) ++nFrom;
    // Eleven characters with a separator before each can run past the buffer: beyond it is the end.
    szBare[i] = nFrom < kBufferSize ? szWork[nFrom] : 0;
    ++nFrom;
  }

  vyrStrcpyFillAndTerminate(lpDS->szTaxIdNumber, szBare, kBufferSize, 0);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(UnMaskBCPF, &DSD7602041_template, "B7602041")
