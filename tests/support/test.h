// What every test of the library needs.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <tuple>

#include "kvlinopinitr/open_initiator.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"
