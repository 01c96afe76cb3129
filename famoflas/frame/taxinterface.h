/*
 * taxinterface.h - the entry points of an external tax-interface library, as
 * the environment functions load and call them. A tax package plugs in by
 * building a shared library that exports these five names with these
 * signatures (C linkage); the context setting "taxplugin" names its path.
 *
 * Life of the interface within a process:
 *   TaxGeoCodeInitialize      once, when an environment starts the interface;
 *                             0 = the geocode lookup is ready
 *   TaxSalesTaxInitialize     then, if that succeeded; 0 = the sales-tax
 *                             calculation is ready
 *   ... the package's own lookups and calculations ...
 *   TaxGeoCodeTerminate       once, when the environment is released
 *   TaxSalesTaxClose(0 .. 3)  four times, closing the package's data sets in
 *                             the order of the selectors below
 *   TaxSalesTaxTerminate      last
 * No entry point receives or returns memory that the other side must free.
 */
#ifndef FAMOFLAS_FRAME_TAXINTERFACE_H
#define FAMOFLAS_FRAME_TAXINTERFACE_H

#ifdef __cplusplus
extern "C" {
#endif

/* Marks the entry points in the plug-in's own sources. */
#define TAXINTERFACE_EXPORT __attribute__((visibility("default")))

#define TAXINTERFACE_GEOCODE_INITIALIZE "TaxGeoCodeInitialize"
#define TAXINTERFACE_GEOCODE_TERMINATE "TaxGeoCodeTerminate"
#define TAXINTERFACE_SALESTAX_INITIALIZE "TaxSalesTaxInitialize"
#define TAXINTERFACE_SALESTAX_CLOSE "TaxSalesTaxClose"
#define TAXINTERFACE_SALESTAX_TERMINATE "TaxSalesTaxTerminate"

/* Selectors of TaxSalesTaxClose, in the order they are closed. */
#define TAXINTERFACE_CLOSE_RATES 0         /* tax rates */
#define TAXINTERFACE_CLOSE_JURISDICTIONS 1 /* taxing jurisdictions */
#define TAXINTERFACE_CLOSE_CATEGORIES 2    /* product and service categories */
#define TAXINTERFACE_CLOSE_REGISTER 3      /* the register of calculated taxes */
#define TAXINTERFACE_CLOSE_COUNT 4

typedef int (*LPFNTAXGEOCODEINITIALIZE)(void);
typedef void (*LPFNTAXGEOCODETERMINATE)(void);
typedef int (*LPFNTAXSALESTAXINITIALIZE)(void);
typedef void (*LPFNTAXSALESTAXCLOSE)(int nSelector);
typedef void (*LPFNTAXSALESTAXTERMINATE)(void);

#ifdef __cplusplus
}
#endif

#endif /* FAMOFLAS_FRAME_TAXINTERFACE_H */
