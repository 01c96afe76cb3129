/*
 * xerceswrapper.h - XML documents as the business-function libraries read
 * them: a DOM of elements and attributes over JCHAR text, named XRCS_*.
 *
 * Rules of this interface:
 *  - Handles (parser, document, element, attribute) are opaque. Every handle
 *    and every string an operation hands out belongs to the caller until it
 *    is given back through the matching release: XRCS_freeParser,
 *    XRCS_freeDocument, XRCS_freeElement, XRCS_freeElementArray,
 *    XRCS_freeAttribute, XRCS_freeString. Each release does nothing for
 *    NULL, so a caller may release unconditionally on every path.
 *  - Element and attribute handles do not keep their document alive.
 *    Releasing a document does not release the handles taken from it (the
 *    caller still releases each), but from then on every operation refuses
 *    them with XRCS_INVALID_HANDLE instead of following them.
 *  - Strings are independent copies: they stay valid after their document is
 *    released, until XRCS_freeString.
 *  - On failure an operation sets its output to NULL (0 for counts) whenever
 *    the output pointer itself is not NULL, and writes a debug-trace line
 *    that names the operation and the reason.
 *  - A document and the handles taken from it are used by one thread at a
 *    time; different documents may be used on different threads at once.
 *
 * The text is untrusted (it arrives from PIM clients over the network), so
 * XRCS_parseXMLString accepts only well-formed XML 1.0 in Unicode and refuses,
 * with a trace line saying why and where:
 *  - any document type declaration ("<!DOCTYPE", and so any entity
 *    declaration): nothing is ever expanded or fetched; the only references
 *    are the five predefined entities (&amp; &lt; &gt; &quot; &apos;) and
 *    numeric character references (&#NN; &#xHH;) that name an XML character;
 *  - text longer than the size limit or elements nested deeper than the depth
 *    limit (defaults below; a context's settings "xmlmaxchars" and
 *    "xmlmaxdepth" override them for parsers created while it is current);
 *  - empty text, text that is not well-formed (unclosed, mismatched or
 *    duplicate names, text outside the document element, truncation),
 *    unpaired surrogates, control characters, and a declaration naming an
 *    encoding other than UTF-8 or UTF-16.
 * A refused text yields no document at all, never a partial one.
 */
#ifndef XERCESWRAPPER_H
#define XERCESWRAPPER_H

#include "vyrtypes.h"

VYR_BEGIN_DECLS

/* Largest text accepted, in JCHAR (4 Mi characters, 8 MiB). */
#define XRCS_DEFAULT_MAX_CHARS 4194304
/* Deepest nesting of elements accepted (the document element is depth 1). */
#define XRCS_DEFAULT_MAX_DEPTH 256

typedef struct tagXRCS_PARSER *XRCS_hParser;
typedef struct tagXRCS_DOCUMENT *XRCS_hDocument;
typedef struct tagXRCS_ELEMENT *XRCS_hElement;
typedef struct tagXRCS_ATTRIBUTE *XRCS_hAttribute;

typedef enum tagXRCS_Status {
  XRCS_SUCCESS = 0,
  XRCS_NOT_FOUND = 1,        /* no such element, child, sibling or attribute */
  XRCS_INVALID_ARGUMENT = 2, /* a null argument or output pointer */
  XRCS_INVALID_HANDLE = 3,   /* a released handle, or one whose document was released */
  XRCS_PARSE_ERROR = 4,      /* the text was refused (see above) */
  XRCS_LIMIT_EXCEEDED = 5,   /* the text is larger or deeper than the limits */
  XRCS_OUT_OF_MEMORY = 6
} XRCS_Status;

/* The wrapper needs no process-wide set-up: both return XRCS_SUCCESS and exist so callers can pair them. */
VYR_EXPORT XRCS_Status XRCS_initEngine(void);
VYR_EXPORT XRCS_Status XRCS_terminateEngine(void);

/* A parser with the limits of the context current on the calling thread (defaults when none is). */
VYR_EXPORT XRCS_Status XRCS_getParser(XRCS_hParser *phParser);
VYR_EXPORT void XRCS_freeParser(XRCS_hParser hParser);

/* Parses terminated JCHAR text (an optional byte-order mark U+FEFF first) into a new document. */
VYR_EXPORT XRCS_Status XRCS_parseXMLString(XRCS_hParser hParser, const JCHAR *lpszXML, XRCS_hDocument *phDocument);
VYR_EXPORT void XRCS_freeDocument(XRCS_hDocument hDocument);

/* The document element (the root). */
VYR_EXPORT XRCS_Status XRCS_getDocumentElement(XRCS_hDocument hDocument, XRCS_hElement *phElement);

/*
 * Every element below hElement (not hElement itself) named lpszTagName, or
 * every one for "*", in document order: an array of *pnCount handles that
 * XRCS_freeElementArray releases together. None found is XRCS_NOT_FOUND.
 */
VYR_EXPORT XRCS_Status XRCS_getElementsByTagName(XRCS_hElement hElement, const JCHAR *lpszTagName,
                                                 XRCS_hElement **pphElements, unsigned int *pnCount);
VYR_EXPORT void XRCS_freeElementArray(XRCS_hElement *phElements, unsigned int nCount);

/* The first child element, and the next element after hElement under the same parent (text, comments skipped). */
VYR_EXPORT XRCS_Status XRCS_getElementFirstChild(XRCS_hElement hElement, XRCS_hElement *phChild);
VYR_EXPORT XRCS_Status XRCS_getElementNextSibling(XRCS_hElement hElement, XRCS_hElement *phSibling);
VYR_EXPORT void XRCS_freeElement(XRCS_hElement hElement);

/* The element's name. */
VYR_EXPORT XRCS_Status XRCS_getElementName(XRCS_hElement hElement, JCHAR **plpszName);
/* The element's own character data (its text and CDATA children, in order; "" when it has none). */
VYR_EXPORT XRCS_Status XRCS_getElementText(XRCS_hElement hElement, JCHAR **plpszText);

/* Attributes by name (references resolved, as the value reads). */
VYR_EXPORT XRCS_Status XRCS_getElementAttributeByName(XRCS_hElement hElement, const JCHAR *lpszName,
                                                      XRCS_hAttribute *phAttribute);
VYR_EXPORT XRCS_Status XRCS_getElementAttributeValueByName(XRCS_hElement hElement, const JCHAR *lpszName,
                                                           JCHAR **plpszValue);
VYR_EXPORT XRCS_Status XRCS_getAttributeValue(XRCS_hAttribute hAttribute, JCHAR **plpszValue);
/* Walking an element's attributes in document order, and an attribute's name. */
VYR_EXPORT XRCS_Status XRCS_getElementFirstAttribute(XRCS_hElement hElement, XRCS_hAttribute *phAttribute);
VYR_EXPORT XRCS_Status XRCS_getAttributeNextSibling(XRCS_hAttribute hAttribute, XRCS_hAttribute *phNext);
VYR_EXPORT XRCS_Status XRCS_getAttributeName(XRCS_hAttribute hAttribute, JCHAR **plpszName);
VYR_EXPORT void XRCS_freeAttribute(XRCS_hAttribute hAttribute);

VYR_EXPORT void XRCS_freeString(JCHAR *lpszString);

VYR_END_DECLS

#endif /* XERCESWRAPPER_H */
