#include <corvane/corvane_ostrel.h>
