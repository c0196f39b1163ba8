// Debian's SDK subset declares these interface ids but defines them nowhere.
#include "pluginterfaces/gui/iplugview.h"

namespace Steinberg {
DEF_CLASS_IID(IPlugView)
DEF_CLASS_IID(IPlugFrame)
namespace Linux {
DEF_CLASS_IID(IEventHandler)
DEF_CLASS_IID(ITimerHandler)
DEF_CLASS_IID(IRunLoop)
}  // namespace Linux
}  // namespace Steinberg
