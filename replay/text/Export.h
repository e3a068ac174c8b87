/// \file
/// Marks what librkreplay exports; everything else is hidden.
#pragma once

#define RKREPLAY_EXPORT [[gnu::visibility("default")]]
