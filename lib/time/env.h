// The library's reading of environment switches: a variable read as a truth value. Owns nothing;
// the variables themselves belong to the process environment.
// Used by the time layer for the "DST" switch, and by anyone else who needs an on/off setting.
#ifndef UT_ENV_H
#define UT_ENV_H

// Truth value of the environment variable name: unset, empty or a null name gives dflt; a value
// whose first character is '0', 'F' or 'N' (either case) gives 0; any other value gives 1.
// Runs while an error is pending and never raises one.
char ENV_VAR_TF(const char* name, char dflt);

#endif
