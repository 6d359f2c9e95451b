#pragma once

#include "Services/UpdatePage.h"

#include <QImage>

#include <optional>
#include <string>
#include <vector>

namespace tandrel::gallery {

/// One page of the update window.
struct UpdateScene {
    std::string name;
    UpdatePage page;
    std::optional<bool> checksDaily;
};

[[nodiscard]] std::vector<UpdateScene> updateScenes();
[[nodiscard]] QImage pictureOf(const UpdateScene& scene);

} // namespace tandrel::gallery
