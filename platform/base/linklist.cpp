// Singly linked lists of item pointers, kept in insertion order.
#include <new>

#include "vyrl.h"

struct tagLINKLISTPOS {
  void *item;
  tagLINKLISTPOS *next;
};

struct tagLINKLIST {
  tagLINKLISTPOS *head = nullptr;
  tagLINKLISTPOS *tail = nullptr;
  size_t count = 0;
  bool ownsItems = false;
};

VYR_EXPORT LPLINKLIST CreateLinkList(BOOL bOwnsItems) {
  LPLINKLIST list = new (std::nothrow) tagLINKLIST;
  if (list) list->ownsItems = bOwnsItems != FALSE;
  return list;
}

// A null item is refused: iteration reports the end of the list by null.
VYR_EXPORT BOOL AddLinkListItem(LPLINKLIST lpList, void *lpItem) {
  if (!lpList || !lpItem) return FALSE;
  auto *node = new (std::nothrow) tagLINKLISTPOS{lpItem, nullptr};
  if (!node) return FALSE;
  if (lpList->tail)
    lpList->tail->next = node;
  else
    lpList->head = node;
  lpList->tail = node;
  ++lpList->count;
  return TRUE;
}

VYR_EXPORT void *GetFirstLinkListItem(LPLINKLIST lpList, LPLINKLISTPOS *lpPos) {
  LPLINKLISTPOS first = lpList ? lpList->head : nullptr;
  if (lpPos) *lpPos = first;
  return first ? first->item : nullptr;
}

VYR_EXPORT void *GetNextLinkListItem(LPLINKLIST lpList, LPLINKLISTPOS *lpPos) {
  if (!lpList || !lpPos || !*lpPos) return nullptr;
  *lpPos = (*lpPos)->next;
  return *lpPos ? (*lpPos)->item : nullptr;
}

VYR_EXPORT size_t GetLinkListCount(LPLINKLIST lpList) { return lpList ? lpList->count : 0; }

VYR_EXPORT void DestroyLinkList(LPLINKLIST lpList) {
  if (!lpList) return;
  for (LPLINKLISTPOS node = lpList->head; node;) {
    LPLINKLISTPOS next = node->next;
    if (lpList->ownsItems) vyrFree(node->item);
    delete node;
    node = next;
  }
  delete lpList;
}
