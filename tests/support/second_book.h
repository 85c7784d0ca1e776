/* The second book in tests: every change that is made to a tree must have been told, and every one told must be made.
 */
#pragma once

namespace support {

/* Compares the tree of migr_main with the book behind each part of the work on it, from now on; a difference fails the
 * test. For a program that has no migr_on_section of its own. */
void keep_second_book();

/* Compares it now, behind work of which no part tells. */
void check_second_book();

/* Ends what keep_second_book has begun. */
void close_second_book();

} // namespace support
