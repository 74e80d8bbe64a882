// The small value types of a scene document, in one include: colours, gradients, layout values,
// masks, backgrounds, aspect ratios, the enumerations fields use, and partial updates.
#pragma once

#include "tav/scene/aspect_ratio.hpp"
#include "tav/scene/background.hpp"
#include "tav/scene/optional_update.hpp"
#include "tav/scene/scene_color.hpp"
#include "tav/scene/scene_dimension.hpp"
#include "tav/scene/scene_edge_insets.hpp"
#include "tav/scene/scene_enums.hpp"
#include "tav/scene/scene_flex.hpp"
#include "tav/scene/scene_frame_settings.hpp"
#include "tav/scene/scene_gradient.hpp"
#include "tav/scene/scene_layout_item.hpp"
#include "tav/scene/scene_mask.hpp"
// The device and audio records and the transition record, which the document carries beside them.
#include "tav/scene/audio_configuration.hpp"
#include "tav/scene/capture_type.hpp"
#include "tav/scene/device_configuration.hpp"
#include "tav/scene/position.hpp"
#include "tav/scene/scene_transition.hpp"
