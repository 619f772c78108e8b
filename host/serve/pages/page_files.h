// The files of the pages, as the build puts them into the program, with the SHA-256 of what a browser may use of them.
#ifndef TARN_HOST_SERVE_PAGES_PAGE_FILES_H
#define TARN_HOST_SERVE_PAGES_PAGE_FILES_H

namespace tarn::host::serve {

struct PageFile {
    const char* text;
    const char* sha256;  // 64 hexadecimal digits
};

extern const PageFile kBlockTemplate;
extern const PageFile kBlockStyle;
extern const PageFile kStatusTemplate;
extern const PageFile kStatusStyle;
extern const PageFile kStatusScript;

}  // namespace tarn::host::serve

#endif
