// ops/ic_transaction
