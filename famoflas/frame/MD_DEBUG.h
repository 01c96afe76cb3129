/*
 * MD_DEBUG - MDDebug: shows the data structure of WriteToVYRLog, formatted
 * the same way, in a message box captioned "M & D Debug".
 */
#ifndef MD_DEBUG_H
#define MD_DEBUG_H

#include "frame/B0900102.h"

FAMOFLAS_BSFN ID MDDebug(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS);

#endif /* MD_DEBUG_H */
