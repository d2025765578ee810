/*
 * invocation.cpp --
 *
 *    The process-wide values that option parsing sets and the command
 *    handlers read. Kept apart from main so that the handlers link
 *    without the front end.
 */

#include "brakk.h"

const char *configFilePath = nullptr;
bool teamingFlag = false;
const char *switchArgument = nullptr;
