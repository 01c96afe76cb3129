/*
 * B7602041.h - Brazilian CPF number mask. MaskBCPF turns the stored eleven
 * digits into the display form 999.999.999-99; UnMaskBCPF removes the
 * separators again. Characters are moved by position only: nothing checks
 * that they are digits or that the check digits are right.
 */
#ifndef FAMOFLAS_UTILITIES_B7602041_H
#define FAMOFLAS_UTILITIES_B7602041_H

#include "frame/bsfn.h"

#define B7602041_TAXID_LENGTH 20

#define DSD7602041_MEMBERS(M, S) M(S, STRING, szTaxIdNumber, B7602041_TAXID_LENGTH)
FAMOFLAS_DS(DSD7602041, DSD7602041_MEMBERS)

FAMOFLAS_BSFN ID MaskBCPF(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);
FAMOFLAS_BSFN ID UnMaskBCPF(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpDS);

#endif /* FAMOFLAS_UTILITIES_B7602041_H */
