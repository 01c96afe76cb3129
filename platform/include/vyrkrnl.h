/*
 * vyrkrnl.h - the platform kernel as the business-function libraries see it.
 * One header per area, all included here; a library includes this file.
 */
#ifndef VYRKRNL_H
#define VYRKRNL_H

#include "vyrbhvr.h"
#include "vyrcache.h"
#include "vyrdate.h"
#include "vyrdb.h"
#include "vyrdstmpl.h"
#include "vyrmath.h"
#include "vyros.h"
#include "vyrreport.h"
#include "vyrtypes.h"

#endif /* VYRKRNL_H */
