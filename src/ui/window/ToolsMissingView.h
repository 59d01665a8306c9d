#pragma once

#include "model/AppModel.h"
#include "ui/look/Parts.h"

namespace kestrel {

// Fills the window while ffmpeg is missing.
class ToolsMissingView : public QWidget {
    Q_OBJECT

public:
    explicit ToolsMissingView(AppModel &model, QWidget *parent = nullptr);
};

} // namespace kestrel
