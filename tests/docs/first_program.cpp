// The guide's first program, as it stands there.
#include <guide/first_program.inc>
