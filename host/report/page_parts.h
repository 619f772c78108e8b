// The files of the page, as the build puts them into the program, with the SHA-256 of what the browser may run.
#ifndef TARN_HOST_REPORT_PAGE_PARTS_H
#define TARN_HOST_REPORT_PAGE_PARTS_H

namespace tarn::host::report {

extern const char* const kPageTemplate;
extern const char* const kPageStyle;
extern const char* const kPageScript;
extern const char* const kPageStyleSha256;  // 64 hexadecimal digits
extern const char* const kPageScriptSha256;

}  // namespace tarn::host::report

#endif
