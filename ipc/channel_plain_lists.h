#pragma once

#include "ipc/channel_list.h"

namespace ipc {

// For tests: the lists in the order of steps that a peer may still run. Every byte at rest is the same as with
// ChannelLists, but a pop of the last node that meets a push loses nodes. Checks nothing.
template <class Access = MappedWords>
class PlainLists {
  public:
    PlainLists(ChannelNode* nodes, int32_t, Access access = Access()) : mNodes(nodes), mAccess(access) {}

    int32_t pop(ChannelList& list) {
        const int32_t node = mAccess.load(list.head);
        int32_t taken = kNoNode;
        if (node != kNoNode) {
            mAccess.compareExchange(list.tail, node, kNoNode);
            const int32_t next = mAccess.load(mNodes[node].next);
            if (mAccess.compareExchange(list.head, node, next)) taken = node;
        }
        mAccess.clear(list.busy);
        return taken;
    }

    bool push(int32_t node, ChannelList& list) {
        mAccess.store(mNodes[node].prev, kNoNode);
        mAccess.store(mNodes[node].next, kNoNode);
        const int32_t last = mAccess.load(list.tail);
        mAccess.store(mNodes[node].prev, last);
        mAccess.compareExchange(list.head, kNoNode, node);
        if (mAccess.compareExchange(list.tail, last, node) && last >= 0) mAccess.store(mNodes[last].next, node);
        mAccess.clear(list.busy);
        return true;
    }

  private:
    ChannelNode* mNodes;
    Access mAccess;
};

}  // namespace ipc
