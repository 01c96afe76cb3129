/*
 * C7300001.h - ValidateGeoCode, the geocode validation of the external tax
 * interface; its data structure, DSVALIDATEGEOCODE, is declared with the
 * other clean-up companions (frame/companions.h).
 */
#ifndef FAMOFLAS_COMPANIONS_C7300001_H
#define FAMOFLAS_COMPANIONS_C7300001_H

#include "frame/companions.h"

/* The geocode lookups of the job, ended by mode "1". */
#define C7300001_LOOKUP_CACHE u"GeoCodeLookups"

FAMOFLAS_BSFN ID ValidateGeoCode(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_COMPANIONS_C7300001_H */
