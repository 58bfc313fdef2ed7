// THE ENGINE BOUNDARY: everything the SDK needs of a playback engine, of an ad service and of casting, as
// abstract types. Nothing reaches an engine except through this header, so that a second engine can be added
// without touching any other room.
//
//   std::shared_ptr<THEOplayer> player = factory.makePlayer(std::nullopt, THEOplayerConfigurationBuilder().build());
//   auto handle = player->addEventListener(PlayerEventTypes::TIME_UPDATE,
//                                          [](const TimeUpdateEvent& event) { show(event.currentTime); });
//   player->setSource(source);
//   player->play();
//
// All engine objects and all their listeners belong to the main run loop's thread. No operation throws; what
// goes wrong comes as an ERROR event.
#pragma once

#include "quorel/engine/cast.h"
#include "quorel/engine/event_dispatcher.h"
#include "quorel/engine/events.h"
#include "quorel/engine/ima.h"
#include "quorel/engine/media_framework.h"
#include "quorel/engine/player.h"
#include "quorel/engine/source_description.h"
#include "quorel/engine/text_tracks.h"
