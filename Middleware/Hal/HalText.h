/* Text formatting shared by the middleware's logs and error texts. */
#ifndef NVXL_HAL_TEXT_H
#define NVXL_HAL_TEXT_H

#include <stdarg.h>
#include <stdint.h>

/* Formats into a buffer allocated with malloc (the caller frees it) and stores the length in
 * *pnLength. Returns NULL only when memory runs out. */
char* NvxlFormatV(int32_t* pnLength, const char* pszFormat, va_list args);
/* The same with the arguments in line. */
char* NvxlFormat(int32_t* pnLength, const char* pszFormat, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

#endif
