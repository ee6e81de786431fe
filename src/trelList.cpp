#include "trelList.h"

void trelList::Append(void* item)
{
  Node* node = new Node{item, nullptr};
  (Tail ? Tail->Next : Head) = node;
  Tail = node;
  ++Count;
}

void* trelList::GetItem(int i) const
{
  if (i < 0 || i >= Count) return nullptr;
  if (i == Count - 1) return Tail->Item;
  const Node* node = Head;
  while (i-- > 0)
    node = node->Next;
  return node->Item;
}

void* trelList::GetNextItem()
{
  if (!Cursor) return nullptr;
  void* item = Cursor->Item;
  Cursor = Cursor->Next;
  return item;
}

void trelList::Clear()
{
  while (Head) {
    Node* next = Head->Next;
    delete Head;
    Head = next;
  }
  Tail = Cursor = nullptr;
  Count = 0;
}
