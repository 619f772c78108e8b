// The last rule of a URL scan: what the categorisation module says of the site, or the pattern matcher of a site it
// does not know. How many categories count is the parental strictness, explained in modules/categorisation.
#ifndef TARN_URL_CATEGORY_RULES_H
#define TARN_URL_CATEGORY_RULES_H

#include "url/scan_state.h"

namespace tarn::url {

// Fails when the display URL begins with "[", the categorisation module is missing or its look-up fails. The returned
// categories are released on every path.
Step Categories(ScanState& scan);

}  // namespace tarn::url

#endif
