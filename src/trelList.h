#ifndef trelList_h
#define trelList_h

#include <cstdint>
#include <vector>

/**
 * @class   trelList
 * @brief   singly linked list of untyped pointers in the order of insertion
 *
 * The list never owns its items: whoever empties it releases each item first. Access by index is
 * linear but for the last item; nothing on the packet loop walks a list.
 */
class trelList
{
public:
  trelList() = default;
  virtual ~trelList() { Clear(); }
  trelList(const trelList&) = delete;
  trelList& operator=(const trelList&) = delete;

  /** Adds @p item at the tail. Legal during a traversal. */
  void Append(void* item);

  /** The item at position @p i, from 0; null when out of range. */
  void* GetItem(int i) const;
  /** The same, as a pointer to what the list is known to hold. */
  template <class Item>
  Item* GetItem(int i) const
  {
    return static_cast<Item*>(GetItem(i));
  }

  /** All items, for a walk that neither moves the cursor nor takes the square of the length. */
  template <class Item>
  std::vector<Item*> GetItems() const
  {
    std::vector<Item*> items;
    for (const Node* node = Head; node; node = node->Next) {
      items.push_back(static_cast<Item*>(node->Item));
    }
    return items;
  }

  /** Sets the cursor to the head; GetNextItem() then returns the items in turn, and null at the
   * end. */
  void InitTraversal() { Cursor = Head; }
  void* GetNextItem();

  /** Frees all nodes; does not touch the items. */
  void Clear();

  /** Kept up to date, so that asking takes no walk. */
  std::int32_t GetNumberOfItems() const { return Count; }

private:
  struct Node
  {
    void* Item;
    Node* Next;
  };

  std::int32_t Count = 0;
  Node* Head = nullptr;
  Node* Tail = nullptr;
  Node* Cursor = nullptr;
};

/** All items of @p list; none of a null list. */
template <class Item>
std::vector<Item*> ItemsOf(const trelList* list)
{
  return list ? list->GetItems<Item>() : std::vector<Item*>();
}

/**
 * Lets go of every item of @p list (of the class @p Item) with @p release, a member such as
 * &trelObject::UnRegister, destroys the list and sets the pointer to null. A null list is fine.
 */
template <class Item, class Release>
void ReleaseList(trelList*& list, Release release)
{
  if (!list) return;
  list->InitTraversal();
  while (void* item = list->GetNextItem())
    (static_cast<Item*>(item)->*release)();
  delete list;
  list = nullptr;
}

#endif
