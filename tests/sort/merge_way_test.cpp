#include "sort_test.h"
