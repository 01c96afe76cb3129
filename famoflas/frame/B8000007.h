/*
 * B8000007.h - environment handles for a batch process that reads from one
 * environment and writes to another.
 */
#ifndef FAMOFLAS_FRAME_B8000007_H
#define FAMOFLAS_FRAME_B8000007_H

#include "frame/bsfn.h"

/*
 *  szInputEnvironment    in   environment to read from
 *  idInputEnvHandle      out  vyrStoreDataPtr index of its handle (0 = none)
 *  szOutputEnvironment   in   environment to write to
 *  idOutputEnvHandle     out  vyrStoreDataPtr index of its handle (0 = none)
 *  szCurrentEnvironment  in   the environment the process runs in
 * Environment names are compared over all 11 positions.
 */
#define DSD8000007_MEMBERS(M, S)        \
  M(S, STRING, szInputEnvironment, 10)  \
  M(S, ID, idInputEnvHandle, 0)         \
  M(S, STRING, szOutputEnvironment, 10) \
  M(S, ID, idOutputEnvHandle, 0)        \
  M(S, STRING, szCurrentEnvironment, 10)
FAMOFLAS_DS(DSD8000007, DSD8000007_MEMBERS)

/*
 * For each side: the context's own environment handle when the side names the
 * current environment, else a secondary environment opened for it; the handle
 * is parked with vyrStoreDataPtr and its index returned. ER_ERROR with "4363"
 * (arguments) or "078S" (behaviour handle, environment or parking failed);
 * after a failure neither index is left set and nothing stays open.
 */
FAMOFLAS_BSFN ID GetInputOutputEnvHandles(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

/*
 * Frees the secondary environments of both sides (never the current
 * environment's own handle), drops both indexes and sets them to 0.
 * ER_ERROR only for "4363" or "078S" (behaviour handle).
 */
FAMOFLAS_BSFN ID FreeInputOutputEnvHandles(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_FRAME_B8000007_H */
