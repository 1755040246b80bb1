// Who owns which attachments: the one list of tests that loaded payloads have to pass.
#include "distributions/discrete/poisson_setup.h"
#include "distributions/shared/loaded_pairs.h"
#include "generators/abstract.h"
#include "streams/attachments.h"

namespace korvan {
namespace {

constexpr AttachmentOwner owners[] = {
    {tagSingleGaussian, judgePair<float>},
    {tagDoubleGaussian, judgePair<double>},
    {tagPoisson, judgePoissonSetup},
    {.tag = tagSobol, .judge = nullptr, .hasKeys = true},
    {tagSobolSecond, nullptr},
    {tagNiederreiter, nullptr},
    {.tag = tagAbstractBinding, .judge = judgeAbstractBinding, .hasKeys = true},
};

}  // namespace

const AttachmentOwner* attachmentOwner(std::uint32_t tag) {
    for (const AttachmentOwner& owner : owners) {
        if (owner.tag == tag) return &owner;
    }
    return nullptr;
}

}  // namespace korvan
