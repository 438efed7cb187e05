#pragma once

// The benchmarks take makeMessage from here.
#include "routerpeer.h"
