// The 16-bit character type of automation strings, without pulling in the whole
// platform header (the scanner and parser driver must not see the Windows macros).
#pragma once

#ifdef _WIN32
typedef wchar_t OLECHAR;
#else
typedef char16_t OLECHAR;
#endif
