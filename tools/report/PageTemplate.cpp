#include "report/PageTemplate.h"

#include "report/PageText.h"

#include <stdexcept>

namespace rksignal {

void writePage(OutputBuffer& out, std::string_view drive, std::string_view curves) {
    if (drive.find('<') != std::string_view::npos || curves.find('<') != std::string_view::npos) {
        throw std::invalid_argument("the data of a page holds a '<', which could end its element");
    }
    out.append(page_text::beforeDrive);
    out.append(drive);
    out.append(page_text::beforeCurves);
    out.append(curves);
    out.append(page_text::afterCurves);
}

std::size_t pageFrameSize() {
    return page_text::beforeDrive.size() + page_text::beforeCurves.size() + page_text::afterCurves.size();
}

} // namespace rksignal
