// MDDebug: the interactive twin of WriteToVYRLog.
#include "frame/MD_DEBUG.h"

static const char kSource[] = "MD_DEBUG";

FAMOFLAS_BSFN ID MDDebug(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  JCHAR szText[DEBUG_DS_TEXT_SIZE];
  if (!BsfnArgumentsValid(lpBhvrCom, lpVoid, lpVoidDS, kSource, __LINE__)) return ER_ERROR;
  FormatDebugDataStructure((const DSD0900102 *)lpVoidDS, szText, DEBUG_DS_TEXT_SIZE);
  MessageBoxW(NULL, szText, u"M & D Debug", 0);
  return ER_SUCCESS;
}
FAMOFLAS_REGISTER(MDDebug, &DSD0900102_template, "MD_DEBUG")
