/* Circular, doubly linked lists. They own nothing: whoever takes an element out frees it. */
#include "rules/rules.h"

/* An unlinked element says so, should anybody follow it. */
static constexpr uintptr_t unlinked_next = 0x100100;
static constexpr uintptr_t unlinked_prev = 0x200200;

void migr_list_init(migr_list *head)
{
    head->next = head;
    head->prev = head;
}

void __migr_list_add(migr_list *element, migr_list *prev, migr_list *next)
{
    next->prev = element;
    element->next = next;
    element->prev = prev;
    prev->next = element;
}

void migr_list_add_tail(migr_list *element, migr_list *head)
{
    __migr_list_add(element, head->prev, head);
}

void __migr_list_del(migr_list *prev, migr_list *next)
{
    next->prev = prev;
    prev->next = next;
}

void migr_list_del(migr_list *element)
{
    __migr_list_del(element->prev, element->next);
    element->next = reinterpret_cast<migr_list *>(unlinked_next); // NOLINT(performance-no-int-to-ptr)
    element->prev = reinterpret_cast<migr_list *>(unlinked_prev); // NOLINT(performance-no-int-to-ptr)
}
