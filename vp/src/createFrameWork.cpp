#include "qorvp/createFrameWork.h"

#include "qorvp/CGaussBlur.h"
#include "qorvp/Parameters.h"
#include "vp/src/CAspectFit.h"
#include "vp/src/CBlend.h"
#include "vp/src/CConverter.h"
#include "vp/src/CHalfSize.h"
#include "vp/src/CRotation.h"
#include "vp/src/CScaler.h"
#include "vp/src/CSteppedScaler.h"

namespace qorvp {

std::unique_ptr<CVpFrameWork> createFrameWork() {
    auto frameWork = std::make_unique<CVpFrameWork>();
    frameWork->setStrategy(kConverter, std::make_unique<CConverter>());
    frameWork->setStrategy(kBlur, std::make_unique<CGaussBlur>());
    frameWork->setStrategy(kRotation, std::make_unique<CRotation>());
    frameWork->setStrategy(kScaler, std::make_unique<CScaler>());
    frameWork->setStrategy(kHalfSize, std::make_unique<CHalfSize>());
    frameWork->setStrategy(kSteppedScaler, std::make_unique<CSteppedScaler>());
    frameWork->setStrategy(kBlend, std::make_unique<CBlend>());
    frameWork->setStrategy(kAspectFit, std::make_unique<CAspectFit>());
    return frameWork;
}

}  // namespace qorvp
