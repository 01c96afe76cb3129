/*
 * X00500ED.h - amounts in German words, digit by digit, for cheques:
 * ConvertNumbersToWordsED spells the euro digits and the cent digits with the
 * currency words ("EINS-ZWEI Euro FUENF-NULL Cents"). Data structure, field
 * and fallback to formatted digits in X00500.h.
 */
#ifndef FAMOFLAS_UTILITIES_X00500ED_H
#define FAMOFLAS_UTILITIES_X00500ED_H

#include "utilities/X00500.h"

FAMOFLAS_BSFN ID ConvertNumbersToWordsED(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_UTILITIES_X00500ED_H */
