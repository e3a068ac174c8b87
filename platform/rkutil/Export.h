/// \file
/// Marks what the shared libraries of this project export; everything else is hidden.
#pragma once

#define RK_EXPORT [[gnu::visibility("default")]]
