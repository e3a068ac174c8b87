#include "plot/PictureFile.h"

#include <cairo-pdf.h>
#include <dlfcn.h>
#include <librsvg/rsvg.h>
#include <memory>
#include <stdexcept>

namespace rksignal {
namespace {

constexpr const char* libraryName = "librsvg-2.so.2";

/// The functions that are called, with the types that their headers give them. librsvg brings cairo and
/// GObject along, which are found through it.
struct Renderer {
    static const Renderer& get() {
        static const Renderer renderer;
        return renderer;
    }

    decltype(&rsvg_handle_new_from_data) newHandle;
    decltype(&rsvg_handle_render_document) render;
    decltype(&g_object_unref) unref;
    decltype(&g_error_free) freeError;
    decltype(&cairo_image_surface_create) newImage;
    decltype(&cairo_pdf_surface_create_for_stream) newPdf;
    decltype(&cairo_pdf_surface_set_metadata) setMetadata;
    decltype(&cairo_pdf_surface_set_size) setPdfSize;
    decltype(&cairo_create) newContext;
    decltype(&cairo_destroy) destroyContext;
    decltype(&cairo_status) contextStatus;
    decltype(&cairo_show_page) showPage;
    decltype(&cairo_surface_write_to_png_stream) writePng;
    decltype(&cairo_surface_finish) finishSurface;
    decltype(&cairo_surface_status) surfaceStatus;
    decltype(&cairo_surface_destroy) destroySurface;
    decltype(&cairo_status_to_string) statusText;

  private:
    Renderer() {
        void* const library = dlopen(libraryName, RTLD_NOW | RTLD_LOCAL); // for as long as the program runs
        if (library == nullptr) {
            throw std::runtime_error(std::string("PNG and PDF files need librsvg, which cannot be loaded: ") +
                                     dlerror());
        }
        find(library, "rsvg_handle_new_from_data", newHandle);
        find(library, "rsvg_handle_render_document", render);
        find(library, "g_object_unref", unref);
        find(library, "g_error_free", freeError);
        find(library, "cairo_image_surface_create", newImage);
        find(library, "cairo_pdf_surface_create_for_stream", newPdf);
        find(library, "cairo_pdf_surface_set_metadata", setMetadata);
        find(library, "cairo_pdf_surface_set_size", setPdfSize);
        find(library, "cairo_create", newContext);
        find(library, "cairo_destroy", destroyContext);
        find(library, "cairo_status", contextStatus);
        find(library, "cairo_show_page", showPage);
        find(library, "cairo_surface_write_to_png_stream", writePng);
        find(library, "cairo_surface_finish", finishSurface);
        find(library, "cairo_surface_status", surfaceStatus);
        find(library, "cairo_surface_destroy", destroySurface);
        find(library, "cairo_status_to_string", statusText);
    }

    template <class Function>
    static void find(void* library, const char* name, Function*& function) {
        function = reinterpret_cast<Function*>(dlsym(library, name));
        if (function == nullptr) {
            throw std::runtime_error(std::string(libraryName) + " has no function " + name);
        }
    }
};

[[noreturn]] void failToDraw(const std::string& reason) {
    throw std::runtime_error("the picture cannot be drawn: " + reason);
}

/// A surface of cairo, and what draws on it.
class Surface {
  public:
    explicit Surface(cairo_surface_t* made)
        : surface(made, Renderer::get().destroySurface),
          context(Renderer::get().newContext(made), Renderer::get().destroyContext) {
        check(Renderer::get().contextStatus(context.get()));
    }

    cairo_surface_t* get() const { return surface.get(); }

    void draw(const std::string& svg, double width, double height) {
        const Renderer& library = Renderer::get();
        GError* error = nullptr;
        const std::unique_ptr<RsvgHandle, decltype(library.unref)> handle(
            library.newHandle(reinterpret_cast<const guint8*>(svg.data()), svg.size(), &error),
            library.unref);
        const RsvgRectangle page{0, 0, width, height};
        if (handle == nullptr || library.render(handle.get(), context.get(), &page, &error) == 0) {
            const std::string reason = error != nullptr ? error->message : "unknown";
            if (error != nullptr) {
                library.freeError(error);
            }
            failToDraw(reason);
        }
    }

    void endPage() {
        Renderer::get().showPage(context.get());
        check(Renderer::get().contextStatus(context.get()));
    }

    static void check(cairo_status_t status) {
        if (status != CAIRO_STATUS_SUCCESS) {
            failToDraw(Renderer::get().statusText(status));
        }
    }

  private:
    std::unique_ptr<cairo_surface_t, decltype(Renderer::destroySurface)> surface;
    std::unique_ptr<cairo_t, decltype(Renderer::destroyContext)> context;
};

cairo_status_t appendTo(void* bytes, const unsigned char* data, unsigned length) {
    static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

} // namespace

std::string pngFile(const SvgPicture& picture) {
    const Renderer& library = Renderer::get();
    const SvgSize& size = picture.size;
    Surface image(
        library.newImage(CAIRO_FORMAT_RGB24, static_cast<int>(size.width), static_cast<int>(size.height)));
    image.draw(picture.text, size.width, size.height);
    std::string bytes;
    Surface::check(library.writePng(image.get(), appendTo, &bytes));
    return bytes;
}

std::string pdfFile(const std::vector<SvgPicture>& pages, const std::string& title) {
    constexpr double pixels = 96.0 / 72; // a point
    const Renderer& library = Renderer::get();
    const auto inPoints = [](unsigned length) { return length / pixels; };
    const SvgSize& first = pages.front().size;
    std::string bytes;
    Surface document(library.newPdf(appendTo, &bytes, inPoints(first.width), inPoints(first.height)));
    library.setMetadata(document.get(), CAIRO_PDF_METADATA_TITLE, title.c_str());
    for (const SvgPicture& page : pages) {
        const double width = inPoints(page.size.width);
        const double height = inPoints(page.size.height);
        library.setPdfSize(document.get(), width, height);
        document.draw(page.text, width, height);
        document.endPage();
    }
    library.finishSurface(document.get());
    Surface::check(library.surfaceStatus(document.get()));
    return bytes;
}

} // namespace rksignal
