#include "Vosk.h"

#include "platform/Speech.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <dlfcn.h>

namespace ovalin {

using namespace Qt::StringLiterals;

// The few functions of the library's C interface that are used; it is shipped without a header.
struct Vosk::Functions {
    void (*set_log_level)(int);
    void* (*model_new)(const char* folder);
    void (*model_free)(void* model);
    void* (*recognizer_new)(void* model, float rate);
    void (*recognizer_free)(void* recognizer);
    int (*recognizer_accept_waveform_s)(void* recognizer, const short* samples, int count);
    const char* (*recognizer_partial_result)(void* recognizer);
    const char* (*recognizer_result)(void* recognizer);
    const char* (*recognizer_final_result)(void* recognizer);
};

struct Vosk::Model {
    Functions functions;
    void* model = nullptr;
    explicit Model(const Functions& theFunctions)
        : functions(theFunctions) {}
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;
    ~Model() {
        if (model)
            functions.model_free(model);
    }
};

struct Vosk::Stream::Handle {
    std::shared_ptr<const Model> owner;
    void* recognizer;
    Handle(std::shared_ptr<const Model> theOwner, void* theRecognizer)
        : owner(std::move(theOwner))
        , recognizer(theRecognizer) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { owner->functions.recognizer_free(recognizer); }
};

namespace {

#ifdef OVALIN_SANITIZED
constexpr int BINDING = 0; // a sanitizer aborts on RTLD_DEEPBIND
#else
// The library carries a BLAS; without DEEPBIND it would call a slower one of the process's instead.
constexpr int BINDING = RTLD_DEEPBIND;
#endif

template <class Function>
bool resolve(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

QString textOf(const char* json, QLatin1String key) {
    return QJsonDocument::fromJson(QByteArray(json)).object().value(key).toString();
}

} // namespace

tl::expected<Vosk, QString> Vosk::load(const QString& path, const QString& folder) {
    void* library = ::dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL | BINDING);
    if (!library)
        return tl::unexpected(QString::fromLocal8Bit(::dlerror()));
    Functions functions{};
    if (!(resolve(library, "vosk_set_log_level", functions.set_log_level) &&
          resolve(library, "vosk_model_new", functions.model_new) &&
          resolve(library, "vosk_model_free", functions.model_free) &&
          resolve(library, "vosk_recognizer_new", functions.recognizer_new) &&
          resolve(library, "vosk_recognizer_free", functions.recognizer_free) &&
          resolve(library, "vosk_recognizer_accept_waveform_s", functions.recognizer_accept_waveform_s) &&
          resolve(library, "vosk_recognizer_partial_result", functions.recognizer_partial_result) &&
          resolve(library, "vosk_recognizer_result", functions.recognizer_result) &&
          resolve(library, "vosk_recognizer_final_result", functions.recognizer_final_result)))
        return tl::unexpected(path + u" is not the speech engine"_s);
    functions.set_log_level(-1);
    auto model = std::make_shared<Model>(functions);
    model->model = functions.model_new(QFile::encodeName(folder).constData());
    if (!model->model)
        return tl::unexpected(folder + u" is not a whole model"_s);
    Vosk vosk(std::move(model));
    if (!vosk.stream()) // some of its files are read only now
        return tl::unexpected(folder + u" is not a whole model"_s);
    return vosk;
}

tl::expected<Vosk::Stream, QString> Vosk::stream() const {
    void* recognizer = model->functions.recognizer_new(model->model, static_cast<float>(SOUND_RATE));
    if (!recognizer)
        return tl::unexpected(u"the engine does not accept its model"_s);
    return Stream(std::make_shared<Stream::Handle>(model, recognizer));
}

Vosk::Stream::Heard Vosk::Stream::accept(std::span<const qint16> block) {
    const int heard = handle->owner->functions.recognizer_accept_waveform_s(handle->recognizer, block.data(),
                                                                            static_cast<int>(block.size()));
    return heard < 0 ? Heard::Failure : heard > 0 ? Heard::UtteranceEnd : Heard::Speech;
}

QString Vosk::Stream::partial() const {
    return textOf(handle->owner->functions.recognizer_partial_result(handle->recognizer), QLatin1String("partial"));
}
QString Vosk::Stream::result() const {
    return textOf(handle->owner->functions.recognizer_result(handle->recognizer), QLatin1String("text"));
}
QString Vosk::Stream::finalResult() const {
    return textOf(handle->owner->functions.recognizer_final_result(handle->recognizer), QLatin1String("text"));
}

} // namespace ovalin
