// QKLib.h: the whole base layer.
#pragma once

#include "QKExport.h"
#include "QKFileStream.h"
#include "QKFun.h"
#include "QKJson.h"
#include "QKLog.h"
#include "QKMath.h"
#include "QKSerial.h"
#include "QKSharePtr.h"
#include "QKText.h"
#include "QKTypes.h"
