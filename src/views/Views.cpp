#include "ChatView.h"
#include "DictationField.h"

namespace ovalin {

ChatView::~ChatView() = default;
DictationField::~DictationField() = default;

} // namespace ovalin
