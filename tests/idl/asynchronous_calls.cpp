// SPDX-License-Identifier: MIT
#include "every_construct.h"

// The asynchronous calls are compiled where they are used. Each form once: with a result, without, with one
// and with many values to come back, with parameters that the names inside the call have to keep clear of.
void make_every_call(const Every::Peer& peer, const Every::Derived& derived) {
    const Every::Pair both = peer.both_async().get();
    peer.take_async({both}).get();
    const std::tuple<Every::Base::State, Every::Base::Result, Every::Wide> got =
        derived.get_async(Every::Base::Mode::on, Every::Base::Result()).get();
    const Every::Base::State again = derived.again_async(std::get<0>(got).mode).get();
    const _Caldane_Object object = std::get<0>(derived.any_object_async(again, peer).get());
    (void)derived
        .all_async(1, 2, 3, 4, true, 5, "j", Every::Suit::hearts, object, Every::Numbers(), Every::Words(),
                   Every::All(), Every::Octets())
        .get();
}
