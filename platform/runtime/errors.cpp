// The error list of a behaviour context: appending and walking.
#include <cstring>
#include <string>

#include "base/trace.h"
#include "runtime/context.h"
#include "runtime/jtext.h"
#include "unicode/jchar_utf8.h"

namespace {

// Substitution records start with a JCHAR[41]: at most 40 characters count.
constexpr size_t kTextChars = VYR_ERROR_TEXT_SIZE - 1;
constexpr size_t kIdChars = VYR_ERROR_ID_SIZE - 1;

std::string boundedSource(const char *source) {
  if (source == nullptr) return {};
  std::string text(source, strnlen(source, VYR_ERROR_SOURCE_SIZE - 1));
  return text;
}

}  // namespace

VYR_EXPORT void vyrErrorSetEx(LPBHVRCOM lpBhvrCom, LPVOID /*lpVoid*/, ID idItem, const JCHAR *lpszErrorId,
                              const void *lpSubstitution, const char *szSource, int nLine) {
  try {
    vyr::ErrorRecord record;
    record.item = idItem;
    record.id = vyr::boundedView(lpszErrorId, kIdChars);
    record.text = vyr::boundedView(static_cast<const JCHAR *>(lpSubstitution), kTextChars);
    record.source = boundedSource(szSource);
    record.line = nLine;
    if (!vyr::isLiveContext(lpBhvrCom)) {
      // Nowhere to keep it: the trace is the only place a reader can find it.
      std::u16string line = u"Error " + record.id + u" on item " + vyr::asciiToJchar(std::to_string(idItem)) +
                            u" without a usable behaviour context at " + vyr::fromUtf8(record.source) + u"(" +
                            vyr::asciiToJchar(std::to_string(nLine)) + u")";
      if (!record.text.empty()) line += u": " + record.text;
      vyr::writeTraceLine(line);
      return;
    }
    lpBhvrCom->errors.push_back(std::move(record));
  } catch (...) {
    // Out of memory while recording an error: nothing sensible is left to do.
  }
}

VYR_EXPORT int vyrErrorSetToFirstEx(LPBHVRCOM lpBhvrCom, LPVOID /*lpVoid*/) {
  if (!vyr::isLiveContext(lpBhvrCom)) return 0;
  lpBhvrCom->errorWalk = 0;
  return static_cast<int>(lpBhvrCom->errors.size());
}

VYR_EXPORT BOOL vyrErrorGetNextDDItemNameInfoEx(LPBHVRCOM lpBhvrCom, LPVOID /*lpVoid*/, LPVYRERRORINFO lpInfo) {
  if (lpInfo == nullptr || !vyr::isLiveContext(lpBhvrCom)) return FALSE;
  if (lpBhvrCom->errorWalk >= lpBhvrCom->errors.size()) return FALSE;
  const vyr::ErrorRecord &record = lpBhvrCom->errors[lpBhvrCom->errorWalk++];
  *lpInfo = VYRERRORINFO{};
  lpInfo->idItem = record.item;
  vyr::copyOut(record.id, lpInfo->szErrorId, VYR_ERROR_ID_SIZE);
  vyr::copyOut(record.text, lpInfo->szText, VYR_ERROR_TEXT_SIZE);
  const size_t n = record.source.copy(lpInfo->szSource, VYR_ERROR_SOURCE_SIZE - 1);
  lpInfo->szSource[n] = '\0';
  lpInfo->nLine = record.line;
  return TRUE;
}
