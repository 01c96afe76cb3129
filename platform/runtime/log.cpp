// The platform log (written to the debug trace) and the message box, which
// a host routes wherever it shows text.
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <string>

#include "runtime/context.h"
#include "unicode/jchar_utf8.h"
#include "vyrunicode.h"

namespace vyr {
namespace {

void writeToStderr(std::u16string_view text, std::u16string_view caption) noexcept {
  try {
    const std::string line = toUtf8(caption) + ": " + toUtf8(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
  } catch (...) {
  }
}

std::atomic<MessageBoxHandler> gMessageBoxHandler{writeToStderr};

}  // namespace

void setMessageBoxHandler(MessageBoxHandler handler) noexcept {
  gMessageBoxHandler.store(handler ? handler : writeToStderr);
}

}  // namespace vyr

VYR_EXPORT void vyrWriteLogEntry(const char *szSource, int nLine, const JCHAR *lpszFormat, ...) {
  if (lpszFormat == nullptr) return;
  // Usual entries fit on the stack; a longer one takes a buffer of its size.
  JCHAR local[1024];
  va_list args;
  va_start(args, lpszFormat);
  va_list again;
  va_copy(again, args);
  const int needed = vyrVsnprintf(local, std::size(local), lpszFormat, args);
  va_end(args);
  std::u16string heap;
  std::u16string_view text(local, needed < 0 ? 0 : std::min<size_t>(size_t(needed), std::size(local) - 1));
  if (needed >= static_cast<int>(std::size(local))) {
    try {
      heap.resize(static_cast<size_t>(needed) + 1);
      const int written = vyrVsnprintf(heap.data(), heap.size(), lpszFormat, again);
      heap.resize(written > 0 ? std::min(size_t(written), size_t(needed)) : 0);
      text = heap;
    } catch (...) {
      // No memory for the whole entry: the part that fitted goes out.
    }
  }
  va_end(again);
  try {
    std::u16string line = vyr::fromUtf8(szSource ? szSource : "");
    line += u"(" + vyr::fromUtf8(std::to_string(nLine)) + u"): ";
    line += text;
    vyr::writeTraceLine(line);
  } catch (...) {
  }
}

VYR_EXPORT int MessageBoxW(void * /*hWnd*/, const JCHAR *lpszText, const JCHAR *lpszCaption, unsigned int /*nType*/) {
  vyr::gMessageBoxHandler.load()(vyr::jcharView(lpszText), vyr::jcharView(lpszCaption));
  return 1;
}
