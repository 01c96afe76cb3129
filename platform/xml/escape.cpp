// XML escaping of JCHAR text, for values written into a document.
#include <cstdint>

#include "vyrl.h"

VYR_EXPORT JCHAR *vyrAllocConvertToXMLEscapeChars(const JCHAR *lpszText) {
  if (lpszText == nullptr) return nullptr;
  size_t length = 0;
  size_t extra = 0;
  for (; lpszText[length] != 0; ++length) {
    switch (lpszText[length]) {
      case u'&':
        extra += 4;
        break;  // &amp;
      case u'<':
      case u'>':
        extra += 3;
        break;  // &lt; &gt;
      case u'"':
      case u'\'':
        extra += 5;
        break;  // &quot; &apos;
      default:
        break;
    }
  }
  if (length + extra >= SIZE_MAX / sizeof(JCHAR)) return nullptr;
  auto *copy = static_cast<JCHAR *>(vyrMalloc((length + extra + 1) * sizeof(JCHAR)));
  if (copy == nullptr) return nullptr;
  JCHAR *out = copy;
  const auto put = [&out](const char16_t *entity) {
    while (*entity) *out++ = *entity++;
  };
  for (size_t k = 0; k < length; ++k) {
    switch (lpszText[k]) {
      case u'&':
        put(u"&amp;");
        break;
      case u'<':
        put(u"&lt;");
        break;
      case u'>':
        put(u"&gt;");
        break;
      case u'"':
        put(u"&quot;");
        break;
      case u'\'':
        put(u"&apos;");
        break;
      default:
        *out++ = lpszText[k];
        break;
    }
  }
  *out = 0;
  return copy;
}
