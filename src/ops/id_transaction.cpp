// ops/id_transaction
