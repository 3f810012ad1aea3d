#include "driver/run_driver.h"
int unused;
