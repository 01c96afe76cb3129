// Algebraic expression evaluator: the text is validated, function names are
// rewritten into "#" + code, the innermost parenthesised group is evaluated
// and its value written back in its place until no parenthesis is left, and
// then the flat remainder is evaluated with precedence.
#include "utilities/B0000500.h"

#include <math.h>
#include <string.h>

#include "frame/companions.h"

namespace {

const char kSource[] = "B0000500";

const JCHAR kOperators[] = u"^/*-+";
const JCHAR kDigits[] = u"0123456789";
// Letters outside every function name, and the symbols the internal codes use
// ('^' for the power, '#' and '|' for functions), so a user cannot forge them.
const JCHAR kForbidden[] = u"DEFHJKMPUVWXYZ^~!#$%&_=[]{}|;:<>\\'?`@\"";
// Letters that can start a function name.
const JCHAR kFunctionLetters[] = u"ABCGILNOQRST";

struct FunctionName {
  const JCHAR *lpszName;
  JCHAR cCode;
};
const FunctionName kFunctions[] = {
    {u"COS(", u'1'}, {u"SIN(", u'2'}, {u"TAN(", u'3'}, {u"ARC(", u'4'}, {u"LN(", u'5'},
    {u"LOG(", u'6'}, {u"INT(", u'7'}, {u"SGN(", u'8'}, {u"SQR(", u'9'}, {u"ABS(", u'|'},
};

// "%.12f" of the largest double takes 309 integer digits, the point, twelve
// decimals, a sign and the terminator.
const size_t kFloatTextSize = 400;

// Operand cells of CalcString: three pending operands and the exponent.
const int kExponentCell = 3;
const int kPendingCells = 3;

void SetErrorId(LPDSD0000500 lpDS, const JCHAR *lpszErrorId) {
  vyrStrcpyFillAndTerminate(lpDS->szErrorMessageId, lpszErrorId, sizeof(lpDS->szErrorMessageId) / sizeof(JCHAR), 0);
}

// Writes a double with nine decimals, as "%.12f" less its last three digits
// (cut, not rounded), with a comma in decimal-comma mode. Fails for NaN,
// infinities and text that does not fit nSize.
int WriteNineDecimals(JCHAR *lpszOut, size_t nSize, double dValue, BOOL bDecimalComma) {
  if (!isfinite(dValue)) return 0;
  JCHAR szText[kFloatTextSize];
  const int nLength = vyrSnprintf(szText, kFloatTextSize, u"%.12f", dValue);
  if (nLength < 4 || (size_t)nLength >= kFloatTextSize) return 0;
  szText[nLength - 3] = 0;
  if (bDecimalComma) {
    JCHAR *lpPoint = vyrStrchr(szText, u'.');
    if (lpPoint != NULL) *lpPoint = u',';
  }
  if ((size_t)(nLength - 3) >= nSize) return 0;
  vyrStrcpy(lpszOut, szText);
  return 1;
}

// The integer part as a conversion to a signed 32-bit integer gives it. Values
// beyond the range are not guarded against: like the processor's conversion
// they give the "integer indefinite" value, INT32_MIN, instead of undefined
// behaviour.
double TruncateToInt32(double dValue) {
  if (!(dValue > -2147483649.0 && dValue < 2147483648.0)) return (double)INT32_MIN;
  return (double)(int32_t)dValue;
}

void CutToNineDecimals(LPMATH_NUMERIC lpValue) {
  if (lpValue->nDecimalPosition > 9) I0000500_RoundDownDecimal_9(lpValue);
}

// Step 5 of the main flow: blank-free text in, rewritten text out; 1 when the
// expression may be evaluated. A failure of the parentheses stores "3199".
int ValidateExpression(LPDSD0000500 lpDS, JCHAR *lpszText) {
  if (!I0000500_InspectParentheses(lpszText)) {
    SetErrorId(lpDS, u"3199");
    return 0;
  }
  if (vyrStrstr(lpszText, u"***") != NULL) return 0;
  if (vyrStrpbrk(lpszText, kForbidden) != NULL) return 0;
  // "**" becomes '^' and a blank so the text keeps its length.
  for (JCHAR *p = vyrStrstr(lpszText, u"**"); p != NULL; p = vyrStrstr(p + 2, u"**")) {
    p[0] = u'^';
    p[1] = u' ';
  }
  if (lpszText[0] == 0) return 0;
  return I0000500_InspectCharacters(lpszText);
}

}  // namespace

FAMOFLAS_BSFN ID AlgebraicExpressionCalculate(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, LPVOID lpVoidDS) {
  LPDSD0000500 lpDS = (LPDSD0000500)lpVoidDS;
  JCHAR szWork[I0000500_TEXT_SIZE] = {0};

  if (lpDS == NULL) {
    vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (lpBhvrCom == NULL || lpVoid == NULL) {
    SetErrorId(lpDS, u"4363");
    ZeroMathNumeric(&lpDS->mnCalculatedValue);
    if (lpDS->cSuppressErrorMessage != u'1') vyrErrorSetEx(lpBhvrCom, lpVoid, 0, u"4363", NULL, kSource, __LINE__);
    return ER_ERROR;
  }
  if (lpDS->szAlgebraicExpression[0] == 0) {
    SetErrorId(lpDS, u"4363");
    ZeroMathNumeric(&lpDS->mnCalculatedValue);
    return ER_WARNING;
  }
  SetErrorId(lpDS, u"   ");
  ZeroMathNumeric(&lpDS->mnCalculatedValue);

  // At most 500 characters (the member need not be terminated), blanks dropped.
  size_t nLength = 0;
  for (size_t i = 0; i < B0000500_EXPRESSION_LENGTH && lpDS->szAlgebraicExpression[i] != 0; ++i)
    if (lpDS->szAlgebraicExpression[i] != u' ') szWork[nLength++] = lpDS->szAlgebraicExpression[i];

  if (ValidateExpression(lpDS, szWork)) {
    // The user's number format uses a decimal comma when "1,234" reads with three decimals.
    ParseNumericString(&lpDS->mnCalculatedValue, u"1,234");
    const BOOL bDecimalComma = lpDS->mnCalculatedValue.nDecimalPosition == 3;
    ZeroMathNumeric(&lpDS->mnCalculatedValue);

    if (I0000500_CalBracketTrig(lpBhvrCom, lpVoid, szWork, bDecimalComma)) {
      if (I0000500_CalcString(lpBhvrCom, lpVoid, szWork, bDecimalComma) &&
          ParseNumericString(&lpDS->mnCalculatedValue, szWork) != ER_ERROR)
        return ER_SUCCESS;
      SetErrorId(lpDS, u"3449");
    }
  }
  ZeroMathNumeric(&lpDS->mnCalculatedValue);
  if (lpDS->szErrorMessageId[0] == u' ') SetErrorId(lpDS, u"4771");
  return ER_ERROR;
}
FAMOFLAS_REGISTER(AlgebraicExpressionCalculate, &DSD0000500_template, "B0000500")

// Pairs the k-th "(" with the k-th ")": each ")" must come after its "(" and
// be followed by the end, another ")" or an operator.
FAMOFLAS_INTERNAL int I0000500_InspectParentheses(const JCHAR *lpszText) {
  if (lpszText == NULL) return 0;
  const JCHAR *lpOpenFrom = lpszText;
  const JCHAR *lpCloseFrom = lpszText;
  int nDepth = 0;
  while (lpOpenFrom != NULL && lpCloseFrom != NULL && nDepth >= 0) {
    const JCHAR *lpOpen = vyrStrchr(lpOpenFrom, u'(');
    if (lpOpen != NULL) {
      lpOpenFrom = lpOpen + 1;
      ++nDepth;
    } else {
      lpOpenFrom = NULL;
    }
    const JCHAR *lpClose = vyrStrchr(lpCloseFrom, u')');
    if (lpClose != NULL) {
      const JCHAR cNext = lpClose[1];
      if (cNext == 0 || cNext == u')' || vyrStrchr(kOperators, cNext) != NULL) {
        lpCloseFrom = lpClose + 1;
        --nDepth;
      } else {
        nDepth = -1;
      }
    } else {
      lpCloseFrom = NULL;
    }
    if (lpOpen != NULL && (lpClose == NULL || lpClose < lpOpen)) nDepth = -1;
  }
  return nDepth == 0 ? 1 : 0;
}

// Copies the text onto itself from the first letter that may start a
// function name, each name becoming "#" + code (never longer than the name).
FAMOFLAS_INTERNAL int I0000500_InspectCharacters(JCHAR *lpszText) {
  if (lpszText == NULL) return 0;
  if (lpszText[0] == u'*' || lpszText[0] == u'/') return 0;
  JCHAR *lpRead = vyrStrpbrk(lpszText, kFunctionLetters);
  if (lpRead == NULL) return 1;
  JCHAR *lpWrite = lpRead;
  while (*lpRead != 0) {
    if (!vyrIsalpha(*lpRead)) {
      *lpWrite++ = *lpRead++;
      continue;
    }
    const JCHAR cCode = I0000500_TrigMode(lpRead);
    if (cCode == u'0') return 0;
    *lpWrite++ = u'#';
    *lpWrite++ = cCode;
    while (*lpRead != 0 && *lpRead != u'(') ++lpRead;
  }
  *lpWrite = 0;
  return 1;
}

FAMOFLAS_INTERNAL JCHAR I0000500_TrigMode(const JCHAR *lpszText) {
  if (lpszText == NULL || vyrStrchr(u"ACILST", lpszText[0]) == NULL || lpszText[0] == 0) return u'0';
  for (const FunctionName &function : kFunctions)
    if (vyrStrncmp(lpszText, function.lpszName, vyrStrlen(function.lpszName)) == 0) return function.cCode;
  return u'0';
}

FAMOFLAS_INTERNAL int I0000500_CalBracketTrig(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszText, BOOL bDecimalComma) {
  if (lpszText == NULL) return 0;
  JCHAR szGroup[I0000500_TEXT_SIZE];
  JCHAR *lpFirst = vyrStrchr(lpszText, u'(');
  while (lpFirst != NULL) {
    JCHAR *lpClose = vyrStrchr(lpFirst, u')');
    if (lpClose == NULL) return 0;
    // The last "(" before the first ")" opens the innermost group.
    JCHAR *lpOpen = lpFirst;
    for (JCHAR *p = lpFirst; p < lpClose; ++p)
      if (*p == u'(') lpOpen = p;

    const size_t nInner = (size_t)(lpClose - lpOpen - 1);
    if (nInner >= I0000500_TEXT_SIZE) return 0;
    memcpy(szGroup, lpOpen + 1, nInner * sizeof(JCHAR));
    szGroup[nInner] = 0;
    if (!I0000500_CalcString(lpBhvrCom, lpVoid, szGroup, bDecimalComma)) return 0;

    JCHAR *lpStart = lpOpen;
    if (lpOpen - lpszText >= 2 && lpOpen[-2] == u'#') {
      if (!I0000500_Trigonometry(szGroup, lpOpen[-1], bDecimalComma)) return 0;
      lpStart = lpOpen - 2;
      if (lpFirst == lpOpen) lpFirst = lpStart;
    }

    // The value replaces the group; a value longer than its group may not
    // push the text past its buffer.
    const size_t nValue = vyrStrlen(szGroup);
    const size_t nRest = vyrStrlen(lpClose + 1);
    if ((size_t)(lpStart - lpszText) + nValue + nRest >= I0000500_TEXT_SIZE) return 0;
    vyrStrcat(szGroup, lpClose + 1);
    vyrStrcpy(lpStart, szGroup);
    if (lpStart == lpFirst) lpFirst = vyrStrchr(lpszText, u'(');
  }
  return 1;
}

FAMOFLAS_INTERNAL int I0000500_Trigonometry(JCHAR *lpszNumber, JCHAR cCode, BOOL bDecimalComma) {
  if (lpszNumber == NULL) return 0;
  double dArgument = 0.0;
  I0000500_String2Double(lpszNumber, &dArgument, bDecimalComma);
  double dResult = 0.0;
  switch (cCode) {
    case u'1':
      dResult = cos(dArgument);
      break;
    case u'2':
      dResult = sin(dArgument);
      break;
    case u'3':
      dResult = tan(dArgument);
      break;
    case u'4':
      dResult = atan(dArgument);
      break;
    case u'5':
      if (!(dArgument > 0.0)) return 0;
      dResult = log(dArgument);
      break;
    case u'6':
      if (!(dArgument > 0.0)) return 0;
      dResult = log10(dArgument);
      break;
    case u'7':
      dResult = TruncateToInt32(dArgument);
      break;
    case u'8':
      dResult = dArgument * -1.0;
      break;
    case u'9':
      if (dArgument < 0.0) return 0;
      dResult = sqrt(dArgument);
      break;
    case u'|':
      dResult = fabs(dArgument);
      break;
    default:
      return 0;
  }
  return WriteNineDecimals(lpszNumber, I0000500_TEXT_SIZE, dResult, bDecimalComma);
}

// Two levels of precedence over + and -, all left to right: cells 0-2 hold
// pending operands, the fourth cell an exponent.
FAMOFLAS_INTERNAL int I0000500_CalcString(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszText, BOOL bDecimalComma) {
  if (lpszText == NULL) return 0;
  MATH_NUMERIC amnCell[kExponentCell + 1];
  for (MATH_NUMERIC &mnCell : amnCell) ZeroMathNumeric(&mnCell);

  JCHAR *p = lpszText;
  int nRead = I0000500_GetNumber(lpBhvrCom, lpVoid, p, &amnCell[0]);
  p += nRead;
  int nCell = 1;
  int bOk = 1;
  while (*p != 0 && nRead > 0 && bOk) {
    const JCHAR cOperator = *p++;
    nRead = I0000500_GetNumber(lpBhvrCom, lpVoid, p, &amnCell[nCell]);
    if (nRead == 0) break;
    p += nRead;
    if (*p == u'^') {
      ++p;
      if (*p == u' ') ++p;
      // A doubled minus in an exponent cancels.
      if (p[0] == u'-' && p[1] == u'-') p += 2;
      nRead = I0000500_GetNumber(lpBhvrCom, lpVoid, p, &amnCell[kExponentCell]);
      if (nRead == 0) break;
      p += nRead;
      bOk = I0000500_MultiplyDivide(&amnCell[nCell], amnCell[kExponentCell], u'^', bDecimalComma);
      if (!bOk) break;
    }
    if (cOperator == u'-') ReverseMathNumeric(&amnCell[nCell]);
    if (cOperator != u'+' && cOperator != u'-') {
      bOk = I0000500_MultiplyDivide(&amnCell[nCell - 1], amnCell[nCell], cOperator, bDecimalComma);
      --nCell;
      if (!bOk) break;
    }
    if (nCell > 0 && *p != u'^' && *p != u'/' && *p != u'*') {
      if (MathAdd(&amnCell[nCell - 1], &amnCell[nCell - 1], &amnCell[nCell]) == ER_ERROR) {
        bOk = 0;
        break;
      }
      --nCell;
      CutToNineDecimals(&amnCell[nCell]);
    }
    ++nCell;
    // Only +/- can leave an operand pending and the next operator then
    // combines it, so three cells suffice; never write past them.
    if (nCell >= kPendingCells) {
      bOk = 0;
      break;
    }
  }
  if (nRead == 0 || !bOk) return 0;
  if (nCell > 1 && MathAdd(&amnCell[0], &amnCell[0], &amnCell[1]) == ER_ERROR) return 0;
  CutToNineDecimals(&amnCell[0]);

  JCHAR szValue[VYR_MATH_TEXT_SIZE] = {0};
  FormatMathNumeric(szValue, &amnCell[0]);
  vyrStrcpy(lpszText, szValue);
  return 1;
}

FAMOFLAS_INTERNAL int I0000500_MultiplyDivide(LPMATH_NUMERIC lpLeft, MATH_NUMERIC mnRight, JCHAR cOperator,
                                              BOOL bDecimalComma) {
  if (lpLeft == NULL) return 0;
  switch (cOperator) {
    case u'*':
      if (MathMultiply(lpLeft, lpLeft, &mnRight) == ER_ERROR) return 0;
      CutToNineDecimals(lpLeft);
      return 1;
    case u'/': {
      if (MathZeroTest(&mnRight) == 0) return 0;
      MATH_NUMERIC mnRemainder;
      ZeroMathNumeric(&mnRemainder);
      return MathDivide(lpLeft, &mnRemainder, lpLeft, &mnRight, 9, 1) == ER_ERROR ? 0 : 1;
    }
    case u'^': {
      JCHAR szBase[VYR_MATH_TEXT_SIZE] = {0};
      JCHAR szExponent[VYR_MATH_TEXT_SIZE] = {0};
      FormatMathNumeric(szBase, lpLeft);
      FormatMathNumeric(szExponent, &mnRight);
      double dBase = 0.0, dExponent = 0.0;
      I0000500_String2Double(szBase, &dBase, bDecimalComma);
      I0000500_String2Double(szExponent, &dExponent, bDecimalComma);
      if (dBase == 0.0 && dExponent < 0.0) return 0;
      // A negative base to a fractional power (NaN) or an overflow fails in WriteNineDecimals.
      JCHAR szPower[kFloatTextSize];
      if (!WriteNineDecimals(szPower, kFloatTextSize, pow(dBase, dExponent), bDecimalComma)) return 0;
      return ParseNumericString(lpLeft, szPower) == ER_ERROR ? 0 : 1;
    }
    default:
      return 0;
  }
}

FAMOFLAS_INTERNAL int I0000500_GetNumber(LPBHVRCOM lpBhvrCom, LPVOID lpVoid, JCHAR *lpszText, LPMATH_NUMERIC lpValue) {
  if (lpszText == NULL || lpValue == NULL) return 0;
  if (lpszText[0] == u'+') lpszText[0] = u' ';
  const JCHAR *lpDigit = vyrStrpbrk(lpszText, kDigits);
  if (lpDigit == NULL) return 0;
  // The operand runs to the next operator after its first digit, at most 31 characters.
  const JCHAR *lpOperator = vyrStrpbrk(lpDigit, kOperators);
  size_t nConsumed = 0;
  if (lpOperator != NULL && lpOperator - lpszText < 32) {
    nConsumed = (size_t)(lpOperator - lpszText);
  } else {
    nConsumed = vyrStrlen(lpszText);
    if (nConsumed > 31) nConsumed = 31;
  }

  DSREVISEDECSEP dsRevise;
  memset(&dsRevise, 0, sizeof(dsRevise));
  memcpy(dsRevise.szNumericString, lpszText, nConsumed * sizeof(JCHAR));
  dsRevise.cRevisionMode = u'1';
  dsRevise.cEitherMarkIsDecimal = u'Y';
  if (vyrCallObject(u"ReviseDecimalSeparatorInString", NULL, lpBhvrCom, lpVoid, &dsRevise, NULL, 0, NULL, 0, 0) ==
      ER_ERROR)
    return 0;
  dsRevise.szNumericString[DSREVISEDECSEP_STRING_LENGTH] = 0;

  if (ParseNumericString(lpValue, dsRevise.szNumericString) == ER_ERROR || lpValue->String[0] == 0) return 0;
  return (int)nConsumed;
}

FAMOFLAS_INTERNAL void I0000500_String2Double(JCHAR *lpszText, double *lpdValue, BOOL bDecimalComma) {
  if (lpdValue == NULL) return;
  *lpdValue = 0.0;
  if (lpszText == NULL) return;
  if (bDecimalComma) {
    JCHAR *lpComma = vyrStrchr(lpszText, u',');
    for (JCHAR *p = lpszText; *p != 0; ++p)
      if (*p == u'.') *p = u',';
    if (lpComma != NULL) *lpComma = u'.';
  }
  *lpdValue = vyrAtof(lpszText);
}

// Drops the decimals beyond the ninth from the digit string: truncation,
// never rounding.
FAMOFLAS_INTERNAL void I0000500_RoundDownDecimal_9(LPMATH_NUMERIC lpValue) {
  if (lpValue == NULL) return;
  int nDecimals = lpValue->nDecimalPosition;
  if (nDecimals > MAXLEN_MATH_NUMERIC) nDecimals = MAXLEN_MATH_NUMERIC;
  if (nDecimals <= 9) return;
  const size_t nCut = (size_t)(nDecimals - 9);
  const size_t nDigits = strnlen(lpValue->String, MAXLEN_MATH_NUMERIC);
  lpValue->nDecimalPosition = 9;
  if (nDigits > nCut) {
    lpValue->String[nDigits - nCut] = 0;
    lpValue->nLength = (unsigned char)(nDigits - nCut);
  } else {
    // Fewer digits than decimals: every remaining digit was cut.
    memcpy(lpValue->String, "0", 2);
    lpValue->nLength = 1;
  }
  // A negative value cut to zero is zero, not "-0".
  if (strspn(lpValue->String, "0") == strlen(lpValue->String)) lpValue->Sign = 0;
}
