// The page of `symhost sizes --html` but for its data, which stands between the two parts. The build makes the texts
// from the files in host/page.
#pragma once

extern const char* const kSizePageHead;
extern const char* const kSizePageTail;
