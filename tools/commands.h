// The sub-commands of ozu-color, each defined in the file of its concern:
// commands_convert.cpp, commands_bayer.cpp, commands_transform.cpp,
// commands_analysis.cpp, commands_spectral.cpp, commands_model.cpp,
// commands_info.cpp and demo.cpp.
#pragma once

#include "command_support.h"

namespace ozu::tool {

extern const Command kConvertCommand;
extern const Command kDemosaicCommand;
extern const Command kTwistCommand;
extern const Command kToGreyCommand;
extern const Command kToColourCommand;
extern const Command kThresholdCommand;
extern const Command kDistanceCommand;
extern const Command kMaxContrastCommand;
extern const Command kSpectralCommand;
extern const Command kModelCommand;
extern const Command kSpacesCommand;
extern const Command kVersionCommand;
extern const Command kDemoCommand;

}  // namespace ozu::tool
