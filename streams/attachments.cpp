#include "streams/attachments.h"

#include <cstring>

#include "frame/memory.h"
#include "streams/stream_record.h"

namespace korvan {
namespace {

StreamAttachment* headOf(const StreamRecord* stream) {
    return reinterpret_cast<StreamAttachment*>(static_cast<std::uintptr_t>(stream->attachments));
}

StreamAttachment* find(const StreamRecord* stream, std::uint32_t tag) {
    StreamAttachment* node = headOf(stream);
    while (node && node->tag != tag) node = node->next;
    return node;
}

void setHead(StreamHandle stream, StreamAttachment* head) {
    stream->attachments = reinterpret_cast<std::uintptr_t>(head);
}

void push(StreamHandle stream, StreamAttachment* node) {
    node->next = headOf(stream);
    setHead(stream, node);
}

StreamAttachment* allocateNode() {
    return static_cast<StreamAttachment*>(alignedAlloc(sizeof(StreamAttachment), recordAlignment));
}

void releasePayload(StreamAttachment* node) {
    if (node->key.isNone() || sharedBlocks().release(node->key, node->payload)) {
        alignedFree(node->payload);
    }
}

void release(StreamAttachment* node) {
    releasePayload(node);
    alignedFree(node);
}

// The node holds `block` under its key by now: does that replace its payload?  If not, the node
// loses block and key.
bool adopt(StreamAttachment* node, void* block) {
    if (block == node->payload) return true;
    if (block && std::memcmp(block, node->payload, node->size) == 0) {
        alignedFree(node->payload);
        node->payload = block;
        return true;
    }
    if (block && sharedBlocks().release(node->key, block)) alignedFree(block);
    node->key = {};
    return false;
}

// A block of its own, with the bytes of source's; null without memory.
void* copyOfPayload(const StreamAttachment& source) {
    void* copy = alignedAlloc(source.size, recordAlignment);
    if (copy) std::memcpy(copy, source.payload, source.size);
    return copy;
}

// Null without memory.
StreamAttachment* copyOf(const StreamAttachment& source) {
    StreamAttachment* node = allocateNode();
    if (!node) return nullptr;
    *node = source;
    if (!node->key.isNone() && sharedBlocks().join(node->key, node->payload)) return node;
    node->key = {};
    // A payload of no bytes has no block, and that isn't for want of memory.
    node->payload = copyOfPayload(source);
    if (node->payload || source.size == 0) return node;
    alignedFree(node);
    return nullptr;
}

}  // namespace

const StreamAttachment* firstAttachment(const StreamRecord* stream) {
    return headOf(stream);
}

void* findAttachment(const StreamRecord* stream, std::uint32_t tag) {
    const StreamAttachment* node = find(stream, tag);
    return node ? node->payload : nullptr;
}

std::uint32_t attachmentCount(const StreamRecord* stream) {
    std::uint32_t count = 0;
    for (const StreamAttachment* node = headOf(stream); node; node = node->next) ++count;
    return count;
}

std::int32_t attach(StreamHandle stream, std::uint32_t tag, const AttachmentKey* key, void* payload,
                    std::uint32_t size) {
    StreamAttachment* node = allocateNode();
    if (!node) return RNG_NO_MEMORY;
    *node = {.tag = tag, .size = size, .payload = payload, .next = nullptr, .key = {}};
    if (key && !key->isNone() && payload) {
        node->key = *key;
        adopt(node, sharedBlocks().joinOrAdd(*key, tag, size, payload));
    }
    push(stream, node);
    return RNG_OK;
}

std::int32_t attachHeld(StreamHandle stream, std::uint32_t tag, const AttachmentKey& key,
                        void* payload, std::uint32_t size) {
    StreamAttachment* node = allocateNode();
    if (!node) return RNG_NO_MEMORY;
    *node = {.tag = tag, .size = size, .payload = payload, .next = nullptr, .key = key};
    if (payload && !key.isNone() && adopt(node, sharedBlocks().join(key, tag, size))) {
        push(stream, node);
    } else {
        alignedFree(payload);
        alignedFree(node);
    }
    return RNG_OK;
}

void detachByTag(StreamHandle stream, std::uint32_t tag) {
    StreamAttachment* head = headOf(stream);
    for (StreamAttachment** link = &head; *link;) {
        StreamAttachment* node = *link;
        if (node->tag != tag) {
            link = &node->next;
            continue;
        }
        *link = node->next;
        release(node);
    }
    setHead(stream, head);
}

void releaseAttachments(StreamHandle stream) {
    for (StreamAttachment* node = headOf(stream); node;) {
        StreamAttachment* next = node->next;
        release(node);
        node = next;
    }
    stream->attachments = 0;
}

std::int32_t copyAttachments(StreamHandle destination, const StreamRecord* source,
                             WantedTag* isWanted) {
    for (const StreamAttachment* from = headOf(source); from; from = from->next) {
        if (isWanted && !isWanted(from->tag)) continue;
        StreamAttachment* node = copyOf(*from);
        if (!node) {
            releaseAttachments(destination);
            return RNG_NO_MEMORY;
        }
        push(destination, node);
    }
    return RNG_OK;
}

}  // namespace korvan
