// Writing settings into the stack's files.
#include <cstdio>

#include "config/file_content.h"
#include "config/iscsid_conf.h"
#include "config/request.h"
#include "config/rewritten_settings.h"
#include "config/temporary_file.h"
#include "core/base/no_exceptions.h"
#include "kvlinopinitr/open_initiator_functions.h"

using namespace opinit;

namespace {

constexpr int file_failure = -1;

int report_unwritable(const char* path) {
    std::fprintf(stderr, "ERROR: unable to write %s.\n", path);
    return file_failure;
}

/// Whether the temporary file holds all of `text`, by what it gives back.
bool holds(const char* path, std::string_view text) {
    const File file{path, Access::read};
    if (!file) return false;
    const auto content = read_content(file);
    return content && content->view() == text;
}

/// iscsid.conf is left alone until the temporary file is known to be complete.
int rewrite_settings(const Request& request) {
    const TemporaryFile temporary;
    if (!temporary) return report_unwritable(TemporaryFile::path);
    const File settings{iscsid_conf, Access::read_and_write};
    if (!settings) return file_failure;
    const auto old = read_content(settings);
    if (!old) return file_failure;
    const SecretText text = rewritten_settings(old->view(), request);
    if (!write_content(temporary.file(), text.view())) return report_unwritable(TemporaryFile::path);
    if (!holds(TemporaryFile::path, text.view())) {
        std::fputs("ERROR: unable to read tmp file.\n", stderr);
        return file_failure;
    }
    return replace_content(settings, old->view(), text.view()) ? 0 : report_unwritable(iscsid_conf);
}

}  // namespace

int _SetProperty(int, _iSCSI_Property* properties) {
    if (properties == nullptr) return file_failure;
    return without_exceptions(file_failure, [properties] {
        Request request;
        if (const int refusal = request.accept(properties)) return refusal;
        return rewrite_settings(request);
    });
}
