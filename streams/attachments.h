// What hangs on a stream: blocks of data that distributions and generators keep there between
// calls, each found by its owner's tag.
//
// The list belongs to its stream and is guarded as little as the stream is.  A payload without a
// key belongs to its node alone; one with a key is shared through the table of shared blocks, and
// nobody writes to it.
#pragma once

#include <cstdint>

#include "korvan/random.h"
#include "streams/shared_blocks.h"

namespace korvan {

// Tags stand in stream images: a number never changes its owner.  A stream has one node of each.
enum AttachmentTag : std::uint32_t {
    tagSingleGaussian = 1,
    tagDoubleGaussian = 2,
    tagPoisson = 3,
    tagNegativeBinomial = 4,
    tagBinomial = 5,
    tagHypergeometric = 6,
    tagDoubleGamma = 7,
    tagSingleGamma = 8,
    tagSobol = 9,
    tagNiederreiter = 10,
    tagSobolSecond = 13,
    tagAbstractBinding = 14,
};

struct StreamAttachment {
    std::uint32_t tag;
    std::uint32_t size;  // bytes of the payload
    void* payload;
    StreamAttachment* next;
    AttachmentKey key;  // none: the payload is this node's alone
};

// The head of the list, or null.
const StreamAttachment* firstAttachment(const StreamRecord* stream);

// The payload of the first node with the tag, or null.
void* findAttachment(const StreamRecord* stream, std::uint32_t tag);

std::uint32_t attachmentCount(const StreamRecord* stream);

// Hangs a payload from alignedAlloc at the head of the list; it belongs to the library from then
// on.  With a key that the table of shared blocks knows for the same tag and the same bytes, the
// node holds the block of the table and `payload` is freed: who passes a key finds the payload
// again with findAttachment.  With a key that can't be shared (the table is full, or the key
// names something else) the node keeps `payload` and loses the key.
//
// RNG_NO_MEMORY: nothing happened, the caller keeps the payload.
std::int32_t attach(StreamHandle stream, std::uint32_t tag, const AttachmentKey* key, void* payload,
                    std::uint32_t size);

// The same for a payload that means nothing unless another stream holds its equal under the same
// key: the node then holds that block.  If there is none, `payload` is freed and RNG_OK is all that
// comes of it.
std::int32_t attachHeld(StreamHandle stream, std::uint32_t tag, const AttachmentKey& key,
                        void* payload, std::uint32_t size);

// Releases all nodes with the tag; the others keep their order.
void detachByTag(StreamHandle stream, std::uint32_t tag);

// Releases all nodes.
void releaseAttachments(StreamHandle stream);

// Puts copies of source's attachments whose tags are wanted, or of all, before those of
// `destination`, in reverse order.  RNG_NO_MEMORY: destination has none any more.
using WantedTag = bool(std::uint32_t tag);
std::int32_t copyAttachments(StreamHandle destination, const StreamRecord* source,
                             WantedTag* isWanted = nullptr);

// What becomes of an attachment that was read from an image.
enum class Loaded {
    kept,     // its owner could have made it
    ifHeld,   // it goes through attachHeld
    dropped,  // it isn't meant for this stream
    forged,   // its owner can't have made it
};

// An owner's own test of what images bring under its tag; the stream's state is there by then, but
// nobody has examined it.  Null: the generator's state check looks at it.
using AttachmentJudge = Loaded(const StreamRecord* stream, const void* payload, std::uint32_t size);
struct AttachmentOwner {
    std::uint32_t tag;
    AttachmentJudge* judge;
    bool hasKeys = false;  // its payloads can be shared
};

// The owner's row, or null: nobody reads what hangs under an unknown tag.  Defined upstairs, where
// all owners are known (copies/attachment_owners.cpp).
const AttachmentOwner* attachmentOwner(std::uint32_t tag);

}  // namespace korvan
