// Wide text given as a pointer and a count of characters: trimming, case and comparison. A count
// below 0 is taken as 0. Units are Unicode code points; one that no table knows maps to itself, so
// nothing here fails.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
extern "C" {

// The count without the trailing blanks (U+0020 alone).
int64_t vxzstrp(const char32_t* text, int64_t count);

// Change the case in place. While the kernel has a case service it maps every character from
// U+0080 up; the library's own tables map the rest.
void vxzstup(char32_t* text, int64_t count);
void vxzstlo(char32_t* text, int64_t count);

// 1 when the counts are equal and the texts are equal ignoring case, by the library's own tables;
// else 0. Trailing blanks count.
int32_t vxzseqn(const char32_t* first, int64_t firstCount, const char32_t* second,
                int64_t secondCount);

// Compares as if the shorter text were padded with blanks: 0 identical, -1 or 1 equal but for case
// (the first difference in case decides), -2 or 2 different. By the library's own tables.
int32_t vxzsncmp(const char32_t* first, int64_t firstCount, const char32_t* second,
                 int64_t secondCount);

// Replace each character in place by the smallest or the largest of its case class (Unicode 9.0),
// so that texts equal ignoring case become identical.
void vxzstmin(char32_t* text, int64_t count);
void vxzstmax(char32_t* text, int64_t count);

}  // extern "C"
#pragma GCC visibility pop
