/* The smallest host: a C11 program (C++20 takes it too) that includes the SDK's header and links the import library.
 *
 * It runs on any machine, since it never calls WSInit, for which the companion modules and an install folder are
 * needed. What it shows is the rule that every export keeps: a null pointer gives 0 and changes nothing. */
#include <stdio.h>
#include <tarn/tarn.h>

static int failures = 0;

static void Expect(const char* what, unsigned result, unsigned expected) {
    printf("%-44s %u\n", what, result);
    if (result == expected) return;
    printf("    expected %u\n", expected);
    ++failures;
}

int main(void) {
    static ScanRequest request;
    static UrlVerdict verdict;
    static PromptBytes prompt;
    uint8_t status = 0xFF;

    Expect("WSGetUrlScanFeatureStatus(NULL)", WSGetUrlScanFeatureStatus(NULL), 0);
    Expect("WSGetUrlScanFeatureStatus before WSInit", WSGetUrlScanFeatureStatus(&status), 1);
    Expect("    status: any scanning feature on?", status, 0);

    Expect("WSScanUrl without a request", WSScanUrl(NULL, &verdict, &prompt), 0);
    Expect("WSScanUrl without a verdict", WSScanUrl(&request, NULL, &prompt), 0);
    Expect("WSScanUrl without prompt bytes", WSScanUrl(&request, &verdict, NULL), 0);
    Expect("WSScanUrl with nothing", WSScanUrl(NULL, NULL, NULL), 0);

    printf("%s\n", failures == 0 ? "As expected." : "NOT as expected.");
    return failures == 0 ? 0 : 1;
}
