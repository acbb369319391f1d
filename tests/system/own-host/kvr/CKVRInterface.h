#pragma once

#include "../Contract.h"
