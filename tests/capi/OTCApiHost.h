#pragma once

/* A host written in C11 against corvane_ostrel.h alone, driven by OTCApiTest. */
#ifdef __cplusplus
extern "C" {
#endif

/* What the banner callback received. */
typedef struct ot_capi_banners {
    int calls;
    char text[4096];
    int was_null;
} ot_capi_banners;

/* Every refusal of bad input, checked in turn: 0 when each gave its documented status, otherwise
 * the number of the first check that did not. */
int ot_capi_bad_input(void);
/* Observes `group`, gives the profile of user "u1" and starts against `server_url`; 0 on success. */
int ot_capi_start(const char* group, const char* server_url);
/* Sends a purchase of `price` and asks for the banners of "home_top" into `banners`. */
int ot_capi_purchase_and_banners(const char* group, int price, ot_capi_banners* banners);

#ifdef __cplusplus
}
#endif
