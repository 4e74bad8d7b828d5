// transport/context
