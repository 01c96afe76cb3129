/*
 * vyrkrnl.h - the platform kernel as the business-function libraries see it.
 * One header per area, all included here; a library includes this file.
 */
#ifndef VYRKRNL_H
#define VYRKRNL_H

#include "vyrtypes.h"
#include "vyrmath.h"
#include "vyrdate.h"
#include "vyrbhvr.h"
#include "vyrdstmpl.h"
#include "vyrdb.h"
#include "vyrcache.h"
#include "vyrreport.h"
#include "vyros.h"

#endif /* VYRKRNL_H */
