/*
 * X00500D.h - ConvertNumbersToWordsGERMANY: the whole-unit digits of an
 * amount in German words, each with a hyphen, then the two decimal digits as
 * a fraction of 100 ("EINS-ZWEI-DREI-VIER-56/100"). Data structure, field and
 * fallback to formatted digits in X00500.h.
 */
#ifndef FAMOFLAS_UTILITIES_X00500D_H
#define FAMOFLAS_UTILITIES_X00500D_H

#include "utilities/X00500.h"

FAMOFLAS_BSFN ID ConvertNumbersToWordsGERMANY(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_UTILITIES_X00500D_H */
