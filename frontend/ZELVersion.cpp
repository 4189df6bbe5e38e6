#include <ZELKit/ZELVersion.h>

const double ZELKitVersionNumber = 1.0;

// Two blanks before PROJECT: the form that tools which look for "@(#)" expect.
const unsigned char ZELKitVersionString[] = "@(#)PROGRAM:ZELKit  PROJECT:ZELKit-1\n";
