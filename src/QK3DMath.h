// QK3DMath.h: the value types of the mathematics in one include.
#pragma once

#include "QK3DMatrix.h"
#include "QK3DPlane.h"
#include "QK3DQuaternion.h"
#include "QK3DVector.h"
